// Holds the install-log object of the entry module.
#include "entry/entry_log.h"

InstallLog g_entryLog{kInstallLogFileName};
