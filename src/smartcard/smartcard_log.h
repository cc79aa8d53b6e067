// The install-log object of the smart-card module.
#pragma once

#include "log/install_log.h"

extern InstallLog g_smartcardLog;
