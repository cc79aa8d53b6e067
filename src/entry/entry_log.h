// The install-log object of the entry module.
#pragma once

#include "log/install_log.h"

extern InstallLog g_entryLog;
