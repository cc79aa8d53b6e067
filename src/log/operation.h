// The boundary of the program's operations, which no exception leaves.
#pragma once

#include "log/install_log.h"

#include <type_traits>

// Logs that an exception came out of an operation, which returns `failed` for it.
inline void LogException(InstallLog& log, const char* name, int failed)
{
    WriteLog(log, "%s - Unknown exception caught return %d", name, failed);
}

// Returns the result of `operation`, a bool or an int. When an exception comes out of it, as when memory runs out, logs
// that under `name` and returns `failed`.
template <typename Operation, typename Result = std::invoke_result_t<Operation>>
Result RunOperation(InstallLog& log, const char* name, std::type_identity_t<Result> failed, Operation operation)
{
    try
    {
        return operation();
    }
    catch (...)
    {
        LogException(log, name, static_cast<int>(failed));
        return failed;
    }
}
