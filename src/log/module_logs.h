// The install logs of the program's modules: each folder that logs has one, which is named after it.
#pragma once

#include "log/install_log.h"

extern InstallLog g_enrollLog;
extern InstallLog g_entryLog;
extern InstallLog g_platformLog;
extern InstallLog g_providersLog;
extern InstallLog g_serviceLog;
extern InstallLog g_smartcardLog;
extern InstallLog g_tpmLog;
extern InstallLog g_tssLog;
