// Makes an image of the program a library: linked into that image alone, and built before all its other objects.
#include "log/install_log.h"

namespace
{

struct LogsOpenOnFirstUse
{
    LogsOpenOnFirstUse() { InstallLog::OpenOnFirstUse(); }
};

// The highest priority there is for a program's own objects: no log is built earlier.
[[gnu::init_priority(101)]] const LogsOpenOnFirstUse g_logsOpenOnFirstUse;

} // namespace
