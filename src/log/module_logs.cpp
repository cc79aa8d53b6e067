// Holds the install logs of the program's modules.
#include "log/module_logs.h"

// Each opens the one file for itself.
InstallLog g_enrollLog{kInstallLogFileName};
InstallLog g_entryLog{kInstallLogFileName};
InstallLog g_platformLog{kInstallLogFileName};
InstallLog g_providersLog{kInstallLogFileName};
InstallLog g_serviceLog{kInstallLogFileName};
InstallLog g_smartcardLog{kInstallLogFileName};
InstallLog g_tpmLog{kInstallLogFileName};
InstallLog g_tssLog{kInstallLogFileName};
