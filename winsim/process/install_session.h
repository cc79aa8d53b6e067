// The object of an install session's handle.
#pragma once

namespace winsim
{

// The machine's only session.
struct InstallSession
{
    static constexpr char kKind[] = "install";
};

} // namespace winsim
