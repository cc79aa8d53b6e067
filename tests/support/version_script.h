// How the program asks Windows for its version, for tests that compare whole scripts.
#pragma once

#include "tests/support/expected_script.h"

#include <string>

// The question whether this is at least version `major`.`minor`, and its answer.
inline Script AskForVersion(int major, int minor, bool answer)
{
    return {"VerSetConditionMask(0, 2, 3) = 9223372036854775832",
            "VerSetConditionMask(9223372036854775832, 1, 3) = 9223372036854775835",
            "VerSetConditionMask(9223372036854775835, 32, 3) = 9223372036854874139",
            R"(VerifyVersionInfoW({"dwOSVersionInfoSize":284,"dwMajorVersion":)" + std::to_string(major) +
                R"(,"dwMinorVersion":)" + std::to_string(minor) +
                R"(,"wServicePackMajor":0,"wServicePackMinor":0}, 3, 9223372036854874139) = )" + (answer ? "1" : "0")};
}
