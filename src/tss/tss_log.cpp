// Holds the install-log object of the tss module.
#include "tss/tss_log.h"

InstallLog g_tssLog{kInstallLogFileName};
