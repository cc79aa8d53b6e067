// The boundary of the program's operations: no exception gets out of one.
#pragma once

#include "log/install_log.h"

#include <type_traits>

// What `operation` returns, a bool or an int; `failed` when an exception comes out of it, as when memory runs out. A
// line then names the operation: "<name> - Unknown exception caught return <failed>".
template <typename Operation, typename Result = std::invoke_result_t<Operation>>
Result RunOperation(InstallLog& log, const char* name, std::type_identity_t<Result> failed, Operation operation)
{
    try
    {
        return operation();
    }
    catch (...)
    {
        WriteLog(log, "%s - Unknown exception caught return %d", name, static_cast<int>(failed));
        return failed;
    }
}
