// Inspects the TSP library of an installed NTRU stack.
#include "tss/ntru_tsp_library.h"

#include "log/module_logs.h"
#include "platform/service_binary_path.h"
#include "platform/stack_names.h"
#include "windows/exception_guard.h"
#include "windows/text.h"

#include <windows.h>

#include <shlobj.h>
#include <winver.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace
{

constexpr wchar_t kTspLibrary[] = L"TSP1_x64.dll";
constexpr wchar_t kOldTspLibrary[] = L"TSP1.dll";
constexpr wchar_t kUsualFolder[] = L"\\NTRU Cryptosystems\\NTRU TCG Software Stack\\bin\\";

constexpr int kCheckFailed = 1;

// Major, minor, build and revision. Versions compare field by field.
using Version = std::array<DWORD, 4>;

// The first version that needs no shim.
constexpr Version kUpdatedVersion = {1, 2, 1, 25};

bool Exists(const std::wstring& file)
{
    return GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::optional<std::wstring> KnownFolder(int csidl)
{
    wchar_t folder[MAX_PATH] = {};
    // Required: any result but E_FAIL counts as success.
    if (SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, folder) == E_FAIL)
        return std::nullopt;
    return folder;
}

// The folder of the stack's libraries, with a backslash at the end.
std::optional<std::wstring> StackFolder()
{
    std::wstring serviceFolder;
    if (GetServiceBinaryPath(kNtruService, serviceFolder))
        return serviceFolder + L"\\";
    WriteLog(g_tssLog, "CopyTSP1FileImp - Unable to get path to NTRU binary from Service Manager");
    const auto programFiles = KnownFolder(CSIDL_PROGRAM_FILES);
    if (!programFiles)
    {
        WriteLog(g_tssLog, "CopyTSP1FileImp - Unable to get path to PROGRAM_FILES");
        return std::nullopt;
    }
    return *programFiles + kUsualFolder;
}

std::optional<std::wstring> FindTspLibrary()
{
    const auto folder = StackFolder();
    if (!folder)
        return std::nullopt;
    const std::wstring library = *folder + kTspLibrary;
    WriteLog(g_tssLog, "Path to NTRU TSS binaries: %s", ToNarrow(library).c_str());
    if (Exists(library))
        return library;
    const std::wstring oldLibrary = *folder + kOldTspLibrary;
    if (Exists(oldLibrary))
        return oldLibrary;
    WriteLog(g_tssLog, "CopyTSP1FileImp - NTRU TSS not installed err: %d", GetLastError());
    return std::nullopt;
}

std::optional<Version> FileVersionOf(const std::wstring& file)
{
    const DWORD size = GetFileVersionInfoSizeW(file.c_str(), nullptr);
    if (size == 0)
    {
        WriteLog(g_tssLog, "CopyTSP1FileImp - Unable to get Tsp1_x64.dll version info size err: %d", GetLastError());
        return std::nullopt;
    }
    std::vector<BYTE> block(size);
    if (!GetFileVersionInfoW(file.c_str(), 0, size, block.data()))
        return std::nullopt;
    void* root = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(block.data(), L"\\", &root, &length) || length < sizeof(VS_FIXEDFILEINFO))
    {
        WriteLog(g_tssLog, "CopyTSP1FileImp - NTRU TSS Version: <Not Available>");
        return std::nullopt;
    }
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(root);
    const Version version = {fixed->dwFileVersionMS >> 16, fixed->dwFileVersionMS & 0xFFFF,
                             fixed->dwFileVersionLS >> 16, fixed->dwFileVersionLS & 0xFFFF};
    WriteLog(g_tssLog, "CopyTSP1FileImp - NTRU TSS Version: %d.%d.%d.%d", version[0], version[1], version[2],
             version[3]);
    return version;
}

int CheckTspLibrary()
{
    WriteLog(g_tssLog, "CopyTSP1FileImp - Enter");
    const auto library = FindTspLibrary();
    if (!library)
        return -1;
    const auto version = FileVersionOf(*library);
    const auto system = KnownFolder(CSIDL_SYSTEM);
    if (!system)
    {
        WriteLog(g_tssLog, "CopyTSP1FileImp - Unable to get path to SYSTEM32");
        return kCheckFailed;
    }
    if (version && *version >= kUpdatedVersion)
    {
        WriteLog(g_tssLog, "CopyTSP1FileImp - Found updated TSS Version must ensure no Tsp1_x64.dll exists in "
                           "System32 directory");
        const std::wstring shim = *system + L"\\" + kTspLibrary;
        if (Exists(shim))
            DeleteFileW(shim.c_str());
    }
    WriteLog(g_tssLog, "CopyTSP1FileImp - Exit - return 0");
    return 0;
}

} // namespace

int CopyTSP1FileImp()
{
    // After a fault, the check's memory is not freed until the program ends.
    int result = kCheckFailed;
    if (!CallGuarded([&result] { result = CheckTspLibrary(); }))
        WriteLog(g_tssLog, "CopyTSP1FileImp - Unknown exception caught return 1");
    return result;
}
