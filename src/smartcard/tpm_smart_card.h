// The virtual smart card's installer.
#pragma once

#include <string>
#include <string_view>

// Installs and removes the toolkit's TPM-backed virtual smart card: a virtual reader and a minidriver. The install
// location that its operations take is the directory (UTF-16, with or without a backslash at the end) that holds
// the folder of the driver packages. One that is null, empty or not a full path is none. An operation that catches an
// exception, as when memory runs out, logs it and fails.
class CTPMSmartCard
{
public:
    // Asks once whether the virtual reader is there; every operation of this object goes by that answer.
    CTPMSmartCard();

    // Whether this is a 32-bit process on 64-bit Windows (IsWow64Process). A failing call is logged, with its
    // last error, and answered with false.
    static bool IsWOW64Process();

    // Whether this is Windows Vista (6.0) or later. Logs a line when it is not.
    static bool IsVistaOrLater();

    // Whether the smart-card steps may run: on Windows Vista or later and, unless `allowWow64` is set, not in a
    // 32-bit process on 64-bit Windows. Logs a line when they may not.
    static bool IsSupportedConfiguration(bool allowWow64);

    // Whether this is the 64-bit build of the program.
    static constexpr bool Is64BitBuild() { return sizeof(void*) == 8; }

    // Whether the smart-card resource manager lists the toolkit's virtual reader. Logs a line when it does, when
    // there is no reader at all, and for a failing call with its status; the last two count as no. A list that there is
    // no memory for is a failing call (SCARD_E_NO_MEMORY).
    static bool IsKlSCardInstalled();

    // Make the Smart Card service and the Certificate Propagation service start automatically, and start them
    // when they neither run nor are starting; they are not waited for, and one whose state cannot be read is left
    // alone. 0, also in a 32-bit process on 64-bit Windows, where nothing is done, and when only the start failed;
    // -1 when the service manager or the service cannot be opened, the configuration cannot be read, or the start
    // type cannot be changed. Failures to change and to start are logged with the last error, the others are not.
    static int ConfigureSmartCardService();
    static int ConfigureCertPropService();

    // Runs the device installer that lies in `folder` (UTF-16, with a backslash at its end), there, with
    // `arguments` (UTF-16), and waits for it without a limit. 0 when it was started, whatever its exit code; -2
    // when it could not be started or an exception was caught. Logs the command line, then the start and the exit code,
    // or the last error of CreateProcessW.
    static int RunDriverStager(const std::wstring& folder, std::wstring_view arguments);

    // Reads the install location (UTF-16) from the registry into `path`. False, with `path` untouched, when the
    // key or the value cannot be read, or the value fills more than 256 characters. Logs nothing.
    static bool GetInstallPath(std::wstring& path);

    // Installs the virtual reader: the services above, its body library in the system directory (at the next
    // start of Windows when it is in use), its driver package and its device. 0 when installed and when skipped: not a
    // supported configuration, or the reader is there already. -1 without a system directory or a location, -3 when the
    // library could neither be copied nor scheduled or an exception was caught, -4 when a device installer command
    // could not be started. Stops at the first failure, and logs it; what was done before stays.
    int Install(const wchar_t* location) const;

    // Removes the virtual reader, and notes in the registry whether there was one. Without a `location` it is read from
    // the registry. 0 when removed and when skipped, -1 without a system directory and when an exception was caught.
    // Logs each failure and goes on.
    int Uninstall(const wchar_t* location) const;

    // Installs the minidriver: the services above, its body libraries, its driver package and its binding. 0 when
    // installed and when skipped: before Windows Vista, or the virtual reader is there already. -1 without a
    // system directory, Windows directory or location, -3 when a library could not be copied or an exception was
    // caught, -4 when a device installer command could not be started. Stops at the first failure, and logs it; what
    // was done before stays.
    int InstallMiniDrv(const wchar_t* location) const;

    // Removes the minidriver, when the virtual reader is there. Without a `location` it is read from the registry. 0
    // when removed and when skipped, -1 without a system directory and when an exception was caught. Logs each failure
    // and goes on.
    int UninstallMiniDrv(const wchar_t* location) const;

private:
    const bool m_bKlSCardInstalled;
};
