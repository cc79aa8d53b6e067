// The install-log object of the service module.
#pragma once

#include "log/install_log.h"

extern InstallLog g_serviceLog;
