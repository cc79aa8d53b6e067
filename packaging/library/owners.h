// Owners of handles: each closes its handle when it goes out of scope.
#pragma once

#include <windows.h>

#include <msi.h>

// Owns one handle, and closes it with `Close`. Cannot be copied or moved. A null or zero handle counts as none.
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

    // For a Windows call that stores a handle through a pointer. The owner must be empty.
    Handle* Put() { return &m_handle; }

private:
    Handle m_handle{};
};

using OwnedHandle = Owner<HANDLE, &CloseHandle>;
using OwnedKey = Owner<HKEY, &RegCloseKey>;
using OwnedRecord = Owner<MSIHANDLE, &MsiCloseHandle>;
