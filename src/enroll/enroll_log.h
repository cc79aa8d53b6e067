// The install-log object of the enroll module.
#pragma once

#include "log/install_log.h"

extern InstallLog g_enrollLog;
