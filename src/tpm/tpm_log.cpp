// Holds the install-log object of the tpm module.
#include "tpm/tpm_log.h"

InstallLog g_tpmLog{kInstallLogFileName};
