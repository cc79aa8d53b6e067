// Holds the install-log object of the enroll module.
#include "enroll/enroll_log.h"

InstallLog g_enrollLog{kInstallLogFileName};
