// The install-log object of the platform module.
#pragma once

#include "log/install_log.h"

extern InstallLog g_platformLog;
