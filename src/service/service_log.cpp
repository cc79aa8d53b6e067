// Holds the install-log object of the service module.
#include "service/service_log.h"

InstallLog g_serviceLog{kInstallLogFileName};
