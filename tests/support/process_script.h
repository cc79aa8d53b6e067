// Script lines of the calls that start other programs.
#pragma once

// A start-up record that says nothing but its own size.
inline constexpr char kStartup[] =
    R"({"cb":104,"lpReserved":null,"lpDesktop":null,"lpTitle":null,"dwX":0,"dwY":0,"dwXSize":0,"dwYSize":0,)"
    R"("dwXCountChars":0,"dwYCountChars":0,"dwFillAttribute":0,"dwFlags":0,"wShowWindow":0,"cbReserved2":0,)"
    R"("lpReserved2":null,"hStdInput":null,"hStdOutput":null,"hStdError":null})";
