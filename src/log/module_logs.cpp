// Holds the install logs of the program's modules.
#include "log/module_logs.h"

#include "log/log_path.h"

namespace
{

// Each writer opens the one file for itself. The first has its path checked for all of them.
LogPath g_path;

} // namespace

InstallLog g_enrollLog{kInstallLogFileName, &g_path};
InstallLog g_entryLog{kInstallLogFileName, &g_path};
InstallLog g_platformLog{kInstallLogFileName, &g_path};
InstallLog g_providersLog{kInstallLogFileName, &g_path};
InstallLog g_serviceLog{kInstallLogFileName, &g_path};
InstallLog g_smartcardLog{kInstallLogFileName, &g_path};
InstallLog g_tpmLog{kInstallLogFileName, &g_path};
InstallLog g_tssLog{kInstallLogFileName, &g_path};

namespace
{

// All logs are open.
struct PathRelease
{
    PathRelease() { g_path.Release(); }
};
const PathRelease g_pathRelease;

} // namespace
