// The service manager, and services.
#pragma once

#include "src/windows/unique_handle.h"

#include <cwchar>
#include <map>
#include <string>

SC_HANDLE ServiceManager();

// A deleted service stays until the last handle to it is closed.
UniqueServiceHandle OpenServiceFully(const std::wstring& service);

struct WithoutCase
{
    bool operator()(const std::wstring& left, const std::wstring& right) const
    {
        return _wcsicmp(left.c_str(), right.c_str()) < 0;
    }
};

// The states of all services, by their names. Empty if the service manager does not tell; the last error says why.
std::map<std::wstring, DWORD, WithoutCase> ReadStates();
