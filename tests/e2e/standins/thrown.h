// Exceptions and faults of stand-in libraries.
#pragma once

#include <string>

// Raises "access-violation", "division-by-zero", "C++-exception" (as the compiler that comes with Windows throws one)
// or "number" (as this compiler does). Returns for any other text.
void Throw(const std::wstring& what);
