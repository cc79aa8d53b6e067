// Owners of Windows handles: each closes its handle when it goes out of scope.
#pragma once

#include <windows.h>

#include <utility>
#include <winsvc.h>

// A move-only owner of one handle (a pointer or a number), which `Close` closes. Null or zero is no handle. The
// destructor may change the last error: read it before the owner of a failing call goes out of scope.
template <typename Handle, auto Close>
class UniqueHandle
{
public:
    UniqueHandle() = default;
    explicit UniqueHandle(Handle handle) : m_handle(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : m_handle(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept
    {
        Reset(other.Release());
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    explicit operator bool() const { return m_handle != Handle{}; }
    Handle Get() const { return m_handle; }

    // Closes its handle and takes `handle` instead.
    void Reset(Handle handle = {})
    {
        if (m_handle != Handle{})
            Close(m_handle);
        m_handle = handle;
    }

    // Gives the handle away: the caller closes it.
    [[nodiscard]] Handle Release() { return std::exchange(m_handle, Handle{}); }

    // For a Windows call that returns a handle through a pointer.
    [[nodiscard]] Handle* Put()
    {
        Reset();
        return &m_handle;
    }

private:
    Handle m_handle{};
};

using UniqueKernelHandle = UniqueHandle<HANDLE, &CloseHandle>;
using UniqueRegistryKey = UniqueHandle<HKEY, &RegCloseKey>;
using UniqueServiceHandle = UniqueHandle<SC_HANDLE, &CloseServiceHandle>;
using UniqueLibrary = UniqueHandle<HMODULE, &FreeLibrary>;

// Memory that LocalFree frees: from LocalAlloc, or from a Windows call that says so.
template <typename Type>
using UniqueLocalMemory = UniqueHandle<Type*, &LocalFree>;
