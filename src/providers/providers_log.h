// The install-log object of the providers module.
#pragma once

#include "log/install_log.h"

extern InstallLog g_providersLog;
