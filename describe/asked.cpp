// The names of what the program asks Windows for. A test rehearses every action and compares its calls with them.
#include "describe/asked.h"

#include "winsim/machine/string_tables.h"

namespace describe
{

namespace
{

constexpr const char* kDetectionFunctions[] = {"DetectTSS", "isEnabled", "isActivated", "isOwned", "ValidSRKAuth"};
constexpr const char* kTaskFunctions[] = {"AreTasksInstalled", "InstallAutoEnrollmentTasks",
                                          "RemoveAutoEnrollmentTasks"};
constexpr const char* kVendors[] = {"KELO", "NTRU12"};

// Below the application data of all users.
constexpr const char* kDataFiles[] = {
    "Kelo Systems Corp\\Common\\policies",
    "Kelo Systems Corp\\Common\\Kelo_Config.ini",
    "Kelo Systems Corp\\InstallLogs\\Toolkit\\kelo_install_log.txt",
};

// In Windows' system folder.
constexpr const char* kSystemFiles[] = {
    "stkprobe.dll",
    "stkprobe.bk1",
    "TSP1_x64.dll",
    "Tsp1.bak",
    "Tspi_x64.dll",
    "Tspi.bak",
    "KeloVReaderBody.dll",
    "KeloMiniDriverBody.dll",
    "KeloMiniDriverBody64.dll",
};

// In the toolkit's folder.
constexpr const char* kToolkitFiles[] = {
    "NTRU12\\TSP1-kelo.dll",
    "KELO\\TSP1-kelo.dll",
    "KlPCR.exe",
    "TPM_VSCard\\DriverStager.exe",
    "TPM_VSCard\\KeloVReaderBody.dll",
    "TPM_VSCard\\KeloMiniDriverBody.dll",
    "TPM_VSCard\\KeloMiniDriverBody64.dll",
};

constexpr const char* kStackLibraries[] = {"TSP1_x64.dll", "TSP1.dll"};
constexpr char kUsualStack[] = "\\NTRU Cryptosystems\\NTRU TCG Software Stack\\bin\\";
constexpr char kSrkTool[] = "\\Kelo Systems Corp\\Common\\TpmKeyFixer.exe";

std::string FolderOf(const std::string& path)
{
    return path.substr(0, path.rfind('\\'));
}

// The toolkit's folders: where the program is, and where the registry says the toolkit is.
std::vector<std::string> ToolkitFolders(const Places& places)
{
    std::vector<std::string> folders = {FolderOf(places.program)};
    folders.insert(folders.end(), places.packages.begin(), places.packages.end());
    return folders;
}

// The programs that Windows would start instead of one whose path is not in quotation marks.
void AddMisleading(std::vector<std::string>& files, const std::string& path)
{
    for (std::size_t blank = path.find(' '); blank != std::string::npos; blank = path.find(' ', blank + 1))
    {
        files.push_back(path.substr(0, blank));
        files.push_back(path.substr(0, blank) + ".exe");
    }
}

std::string TextLibrary(const std::string& folder, const std::string& language)
{
    return folder + "\\Internationalization_" + language + ".dll";
}

} // namespace

const std::vector<AskedKey>& AskedKeys()
{
    static const std::vector<AskedKey> keys = {
        {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common",
         {"Installation Path", "KlVSC Installed", "KlAutoEnrollInstalled"}},
        {"HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common", {"Installation Path"}},
        {"HKLM\\SOFTWARE\\Kelo Systems Corp.\\Installer", {""}},
        {"HKLM\\SOFTWARE\\Kelo Systems Corp.\\Keystead CSP Persistent\\CAPI", {"PassthroughCSP"}},
        {"HKLM\\SOFTWARE\\Microsoft\\Tpm\\BlockedCommands\\List", {"13", "16", "20", "22", "62", "125", "200"}},
        {"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run", {"ChangeTPMAuth"}},
        {"HKLM\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Microsoft Base Cryptographic Provider v1.0"},
        {"HKLM\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Microsoft Enhanced Cryptographic Provider v1.0"},
        {"HKLM\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Microsoft Strong Cryptographic Provider"},
        {"HKLM\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Microsoft Enhanced RSA and AES Cryptographic "
         "Provider"},
        {"HKLM\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Microsoft Enhanced RSA and AES Cryptographic "
         "Provider (Prototype)"},
        {"HKLM\\SYSTEM"},
    };
    return keys;
}

std::vector<std::string> AskedFiles(const Places& places)
{
    std::vector<std::string> files = {places.windows + "\\SysWOW64\\KeloMiniDriverBody.dll", places.program};
    for (const char* file : kDataFiles)
        files.push_back(places.commonAppData + "\\" + file);
    for (const char* file : kSystemFiles)
        files.push_back(places.system + "\\" + file);
    for (const std::string& folder : ToolkitFolders(places))
    {
        for (const char* file : kToolkitFiles)
            files.push_back(folder + "\\" + file);
    }
    for (const char* library : kStackLibraries)
    {
        files.push_back(places.programFiles + kUsualStack + library);
        if (places.ntruStack)
            files.push_back(*places.ntruStack + "\\" + library);
    }
    for (const AskedLibrary& library : AskedLibraries(places))
        files.push_back(library.path);
    files.push_back(places.programFiles + kSrkTool);
    AddMisleading(files, places.programFiles + kSrkTool);
    return files;
}

std::vector<AskedLibrary> AskedLibraries(const Places& places)
{
    std::vector<AskedLibrary> libraries;
    for (const std::string& folder : ToolkitFolders(places))
    {
        for (const char* vendor : kVendors)
            libraries.push_back({folder + "\\" + vendor + "\\stkprobe.dll",
                                 {std::begin(kDetectionFunctions), std::end(kDetectionFunctions)},
                                 true});
        libraries.push_back({folder + "\\CertJobPlanner.dll", {std::begin(kTaskFunctions), std::end(kTaskFunctions)}});
    }
    for (const std::string& folder : {FolderOf(places.program), places.system})
    {
        for (const auto& [language, table] : winsim::StringTables())
            libraries.push_back({TextLibrary(folder, language)});
    }
    return libraries;
}

const std::vector<AskedSystemLibrary>& AskedSystemLibraries()
{
    static const std::vector<AskedSystemLibrary> libraries = {
        {"kernel32.dll", {"GetFinalPathNameByHandleW", "GetThreadUILanguage", "SetProcessMitigationPolicy"}},
        {"bcrypt.dll",
         {"BCryptAddContextFunctionProvider", "BCryptRegisterProvider", "BCryptRemoveContextFunctionProvider",
          "BCryptUnregisterProvider"}},
    };
    return libraries;
}

std::span<const char* const> AskedServices()
{
    static constexpr const char* kServices[] = {"CertPropSvc", "IFXTCS", "KlPCR",          "RPCSS",
                                                "SCardSvr",    "TBS",    "tcsd_win32.exe", "tcsd_x86"};
    return kServices;
}

std::span<const char* const> AskedProcesses()
{
    static constexpr const char* kProcesses[] = {"PatchAgent.exe", "VaultCourier.exe"};
    return kProcesses;
}

std::span<const char* const> AskedVariables()
{
    static constexpr const char* kVariables[] = {"windir", "SystemRoot", "ProgramFiles"};
    return kVariables;
}

} // namespace describe
