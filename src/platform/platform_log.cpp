// Holds the install-log object of the platform module.
#include "platform/platform_log.h"

InstallLog g_platformLog{kInstallLogFileName};
