// Calls an export of an installer library as Windows Installer does, with an install session of Windows' own:
//   export_host LIBRARY EXPORT [CUSTOM_ACTION_DATA]      prints what the export returns
#include <windows.h>

#include <msi.h>
#include <msiquery.h>
#include <wtypes.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace
{

using Export = UINT(WINAPI*)(MSIHANDLE);

// The smallest package that an install session accepts.
UINT MakePackage(const wchar_t* path)
{
    MSIHANDLE database = 0;
    if (const UINT error = MsiOpenDatabaseW(path, reinterpret_cast<LPCWSTR>(MSIDBOPEN_CREATE), &database))
        return error;
    MSIHANDLE summary = 0;
    constexpr UINT kTemplate = 7;
    constexpr UINT kRevision = 9;
    constexpr UINT kPages = 14;
    constexpr UINT kWords = 15;
    MsiGetSummaryInformationW(database, nullptr, 4, &summary);
    MsiSummaryInfoSetPropertyW(summary, kTemplate, VT_LPSTR, 0, nullptr, L"x64;1033");
    MsiSummaryInfoSetPropertyW(summary, kRevision, VT_LPSTR, 0, nullptr, L"{5C3A1DF4-0B2E-4E0B-9B5B-6D5C44A8F1A1}");
    MsiSummaryInfoSetPropertyW(summary, kPages, VT_I4, 200, nullptr, nullptr);
    MsiSummaryInfoSetPropertyW(summary, kWords, VT_I4, 0, nullptr, nullptr);
    MsiSummaryInfoPersist(summary);
    MsiCloseHandle(summary);

    for (const wchar_t* statement :
         {L"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` CHAR(0) LOCALIZABLE PRIMARY KEY `Property`)",
          L"INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductCode', "
          L"'{5C3A1DF4-0B2E-4E0B-9B5B-6D5C44A8F1A2}')",
          L"CREATE TABLE `Directory` (`Directory` CHAR(255) NOT NULL, `Directory_Parent` CHAR(255), `DefaultDir` "
          L"CHAR(255) NOT NULL LOCALIZABLE PRIMARY KEY `Directory`)"})
    {
        MSIHANDLE view = 0;
        MsiDatabaseOpenViewW(database, statement, &view);
        MsiViewExecute(view, 0);
        MsiCloseHandle(view);
    }
    MsiDatabaseCommit(database);
    return MsiCloseHandle(database);
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc < 3)
        return 2;
    const std::filesystem::path package = std::filesystem::temp_directory_path() / "export_host.msi";
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    MSIHANDLE session = 0;
    const UINT made = MakePackage(package.c_str());
    const UINT opened = MsiOpenPackageW(package.c_str(), &session);
    if (made != ERROR_SUCCESS || opened != ERROR_SUCCESS)
    {
        std::fprintf(stderr, "export_host: no install session (%u, %u)\n", made, opened);
        return 2;
    }
    if (argc > 3)
        MsiSetPropertyW(session, L"CustomActionData", argv[3]);

    const HMODULE library = LoadLibraryW(argv[1]);
    if (library == nullptr)
    {
        std::fprintf(stderr, "export_host: the library does not load (%lu)\n", GetLastError());
        return 2;
    }
    const std::wstring name = argv[2];
    const auto exported = reinterpret_cast<Export>(
        reinterpret_cast<void*>(GetProcAddress(library, std::string(name.begin(), name.end()).c_str())));
    if (exported == nullptr)
        return 2;
    std::printf("%u", exported(session));
    FreeLibrary(library);
    MsiCloseHandle(session);
    std::filesystem::remove(package);
    return 0;
}
