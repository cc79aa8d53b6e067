// The service manager, and services.
#pragma once

#include "src/windows/unique_handle.h"

#include <string>

SC_HANDLE ServiceManager();

// A deleted service stays until the last handle to it is closed.
UniqueServiceHandle OpenServiceFully(const std::wstring& service);
