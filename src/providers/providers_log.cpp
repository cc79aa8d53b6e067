// Holds the install-log object of the providers module.
#include "providers/providers_log.h"

InstallLog g_providersLog{kInstallLogFileName};
