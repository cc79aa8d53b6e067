// Owners of Windows handles: each closes what it holds when it goes out of scope.
#pragma once

#include <windows.h>

#include <utility>
#include <winsvc.h>

// A move-only owner of one handle and the function that closes it. A null handle is no handle. The
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

    explicit operator bool() const { return m_handle != nullptr; }
    Handle Get() const { return m_handle; }

    // Closes what is held and takes `handle` instead.
    void Reset(Handle handle = nullptr)
    {
        if (m_handle != nullptr)
            Close(m_handle);
        m_handle = handle;
    }

    // Gives the handle away: the caller closes it.
    [[nodiscard]] Handle Release() { return std::exchange(m_handle, nullptr); }

    // Where a Windows call that yields a handle through a pointer puts it.
    [[nodiscard]] Handle* Put()
    {
        Reset();
        return &m_handle;
    }

private:
    Handle m_handle = nullptr;
};

using UniqueKernelHandle = UniqueHandle<HANDLE, &CloseHandle>;
using UniqueRegistryKey = UniqueHandle<HKEY, &RegCloseKey>;
using UniqueServiceHandle = UniqueHandle<SC_HANDLE, &CloseServiceHandle>;
using UniqueLibrary = UniqueHandle<HMODULE, &FreeLibrary>;

// Memory from LocalAlloc, or from a Windows call that asks for it to be freed with LocalFree.
template <typename Type>
using UniqueLocalMemory = UniqueHandle<Type*, &LocalFree>;
