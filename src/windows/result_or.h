// Results in place of exceptions.
#pragma once

#include <type_traits>

// Returns the result of `operation`; `failed` when an exception comes out of it, as when memory runs out. Logs nothing.
template <typename Operation, typename Result = std::invoke_result_t<Operation>>
Result ResultOr(std::type_identity_t<Result> failed, Operation operation)
{
    try
    {
        return operation();
    }
    catch (...)
    {
        return failed;
    }
}
