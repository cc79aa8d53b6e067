// Keeps the elevated process from loading libraries and following links that an ordinary user has prepared.
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

// Windows 10 and later then refuse junctions that users without administrator rights have made.
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

// Only for the program: a library leaves the settings of its process alone.
struct ProcessHardening
{
    ProcessHardening()
    {
        if (kImageKind == ImageKind::Library)
            return;
        // The current directory is not searched for libraries.
        SetDllDirectoryW(L"");
        EnforceRedirectionTrust();
    }
};

// Built before the first log, which opens a file below a folder that users may write to.
[[gnu::init_priority(102)]] const ProcessHardening g_processHardening;

} // namespace
