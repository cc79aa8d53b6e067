// The install-log object of the tpm module.
#pragma once

#include "log/install_log.h"

extern InstallLog g_tpmLog;
