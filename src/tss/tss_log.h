// The install-log object of the tss module.
#pragma once

#include "log/install_log.h"

extern InstallLog g_tssLog;
