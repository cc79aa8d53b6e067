// Holds the install-log object of the smart-card module.
#include "smartcard/smartcard_log.h"

InstallLog g_smartcardLog{kInstallLogFileName};
