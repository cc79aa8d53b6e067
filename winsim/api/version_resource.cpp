// Version resources of files.
#include "winsim/api/file_access.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winver.h"

#include <algorithm>
#include <cstring>

using winsim::Call;
using winsim::File;
using winsim::FileNameOf;
using winsim::FileVersion;
using winsim::Json;
using winsim::Simulation;

namespace
{

// The root block of a version resource. Its length would include child blocks, which these resources do not have.
struct VersionBlock
{
    WORD wLength;
    WORD wValueLength;
    WORD wType;
    WCHAR szKey[17]; // with padding, so that the value is aligned to four bytes
    VS_FIXEDFILEINFO Value;
};
static_assert(sizeof(VersionBlock) == 92);

VersionBlock BlockOf(const FileVersion& version)
{
    VersionBlock block{};
    block.wLength = sizeof block;
    block.wValueLength = sizeof block.Value;
    std::copy_n(u"VS_VERSION_INFO", 16, block.szKey);
    block.Value.dwSignature = VS_FFI_SIGNATURE;
    block.Value.dwStrucVersion = VS_FFI_STRUCVERSION;
    block.Value.dwFileVersionMS = static_cast<DWORD>(version[0]) << 16 | version[1];
    block.Value.dwFileVersionLS = static_cast<DWORD>(version[2]) << 16 | version[3];
    // The product's version stays 0: a program that reads it instead of the file's version is noticed.
    block.Value.dwFileOS = VOS_NT_WINDOWS32;
    block.Value.dwFileType = VFT_DLL;
    return block;
}

// Reads the version of a file. Returns a Win32 error.
DWORD ReadVersion(LPCWSTR name, FileVersion& version)
{
    const winsim::FileName file = FileNameOf(name);
    if (file.error != ERROR_SUCCESS)
        return file.error;
    const File* found = Simulation::Current().machine.files.Find(file.path);
    if (found == nullptr)
        return winsim::MissingError(file.path);
    if (found->isDirectory || !winsim::MayAccess(*found, FILE_READ_DATA))
        return ERROR_ACCESS_DENIED;
    if (!found->version)
        return ERROR_RESOURCE_DATA_NOT_FOUND;
    version = *found->version;
    return ERROR_SUCCESS;
}

} // namespace

DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR lptstrFilename, LPDWORD lpdwHandle)
{
    Call call{__func__};
    call.In("lptstrFilename", lptstrFilename);
    return call.ResultOf(DWORD{0}, [&] {
        FileVersion version;
        if (const DWORD error = ReadVersion(lptstrFilename, version); error != ERROR_SUCCESS)
            return call.Fail(DWORD{0}, error);
        if (lpdwHandle != nullptr)
            *lpdwHandle = 0;
        return call.Done(static_cast<DWORD>(sizeof(VersionBlock)));
    });
}

BOOL WINAPI GetFileVersionInfoW(LPCWSTR lptstrFilename, DWORD dwHandle, DWORD dwLen, LPVOID lpData)
{
    Call call{__func__};
    call.In("lptstrFilename", lptstrFilename).In("dwHandle", dwHandle).In("dwLen", dwLen);
    return call.SuccessOf([&]() -> DWORD {
        FileVersion version;
        if (const DWORD error = ReadVersion(lptstrFilename, version); error != ERROR_SUCCESS)
            return error;
        const VersionBlock block = BlockOf(version);
        std::memcpy(lpData, &block, std::min<std::size_t>(dwLen, sizeof block));
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI VerQueryValueW(LPCVOID pBlock, LPCWSTR lpSubBlock, LPVOID* lplpBuffer, PUINT puLen)
{
    Call call{__func__};
    call.In("lpSubBlock", lpSubBlock);
    return call.SuccessOf([&]() -> DWORD {
        VersionBlock block;
        std::memcpy(&block, pBlock, sizeof block);
        if (std::u16string_view(lpSubBlock) != u"\\" || block.Value.dwSignature != VS_FFI_SIGNATURE)
            return ERROR_RESOURCE_TYPE_NOT_FOUND;
        if (call.GivesNothing())
        {
            *puLen = 0;
            *lplpBuffer = nullptr;
            call.Out("puLen", *puLen);
            return ERROR_SUCCESS;
        }
        *puLen = block.wValueLength;
        // The result points into the caller's block.
        const auto* bytes = static_cast<const BYTE*>(pBlock) + offsetof(VersionBlock, Value);
        *lplpBuffer = const_cast<BYTE*>(bytes);
        call.Out("puLen", *puLen);
        if (call.IsRecording())
            call.Out("lplpBuffer", Json{{"dwSignature", block.Value.dwSignature},
                                        {"dwFileVersionMS", block.Value.dwFileVersionMS},
                                        {"dwFileVersionLS", block.Value.dwFileVersionLS}});
        return ERROR_SUCCESS;
    });
}
