// Owners of handles: each closes its handle when it goes out of scope.
#pragma once

#include <windows.h>

#include <msi.h>

// An owner of one handle and the function that closes it, neither copied nor moved. A null or zero handle
// is no handle.
template <typename Handle, auto Close>
class Owner
{
public:
    Owner() = default;
    explicit Owner(Handle handle) : m_handle(handle) {}
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    ~Owner()
    {
        if (*this)
            Close(m_handle);
    }

    explicit operator bool() const { return m_handle != Handle{}; }
    Handle Get() const { return m_handle; }

    // For a Windows call that yields a handle through a pointer; only of an empty owner.
    Handle* Put() { return &m_handle; }

private:
    Handle m_handle{};
};

using OwnedHandle = Owner<HANDLE, &CloseHandle>;
using OwnedKey = Owner<HKEY, &RegCloseKey>;
using OwnedRecord = Owner<MSIHANDLE, &MsiCloseHandle>;
