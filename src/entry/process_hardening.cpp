// Keeps the elevated process from code and files that an ordinary user has prepared.
#include "windows/image_kind.h"
#include "windows/library_function.h"
#include "windows/unique_handle.h"

namespace
{

constexpr int kRedirectionTrustPolicy = 16; // ProcessRedirectionTrustPolicy

// PROCESS_MITIGATION_REDIRECTION_TRUST_POLICY
struct RedirectionTrustPolicy
{
    DWORD flags;
};
constexpr DWORD kEnforceRedirectionTrust = 1;

using SetPolicyFunction = BOOL(WINAPI*)(int policy, void* settings, SIZE_T size);

// From Windows 10 on, Windows itself then refuses junctions that users without administrator rights have made.
void EnforceRedirectionTrust()
{
    const UniqueLibrary library{LoadLibraryA("kernel32.dll")};
    if (!library)
        return;
    const auto setPolicy = FindFunction<SetPolicyFunction>(library.Get(), "SetProcessMitigationPolicy");
    RedirectionTrustPolicy policy{kEnforceRedirectionTrust};
    if (setPolicy != nullptr)
        setPolicy(kRedirectionTrustPolicy, &policy, sizeof policy);
}

// A library is a guest in its process, and leaves it as it is.
struct ProcessHardening
{
    ProcessHardening()
    {
        if (IsLibraryImage())
            return;
        // Libraries that are loaded by name alone never come from the current directory.
        SetDllDirectoryW(L"");
        EnforceRedirectionTrust();
    }
};

// Built before the first log, which opens a file below a folder that users may write to.
[[gnu::init_priority(102)]] const ProcessHardening g_processHardening;

} // namespace
