// What an install session's handle stands for.
#pragma once

namespace winsim
{

// The one session of the machine.
struct InstallSession
{
    static constexpr char kKind[] = "install";
};

} // namespace winsim
