// The virtual smart card's installer.
#pragma once

#include <string>
#include <string_view>

// Installs and removes the toolkit's TPM-backed virtual smart card: a virtual reader and a minidriver. The install
// location that the operations take is the directory (UTF-16, with or without a backslash at the end) of the driver
// packages' folder; null, an empty text or anything but a full path is no location. An operation that catches an
// exception, as when memory runs out, logs it and fails.
class CTPMSmartCard
{
public:
    // What the operations return, besides 0.
    static constexpr int kNoFolder = -1;      // no system directory, no Windows directory, or no location
    static constexpr int kNotStarted = -2;    // the device installer
    static constexpr int kNotCopied = -3;     // a body library
    static constexpr int kCommandFailed = -4; // a command of the device installer could not be started

    // Checks once whether the virtual reader is there; all operations of this object go by that result.
    CTPMSmartCard();

    // Whether this is a 32-bit process on 64-bit Windows (IsWow64Process). False, with a line, when the call fails.
    static bool IsWOW64Process();

    // Whether this is Windows Vista (6.0) or later. Logs a line when it is not.
    static bool IsVistaOrLater();

    // Whether the smart-card steps may run: on Windows Vista or later and, unless `allowWow64` is set, not in a 32-bit
    // process on 64-bit Windows. Logs a line when they may not.
    static bool IsSupportedConfiguration(bool allowWow64);

    // Whether this is the 64-bit build of the program.
    static constexpr bool Is64BitBuild() { return sizeof(void*) == 8; }

    // Whether the smart-card resource manager lists the toolkit's virtual reader. False also without any reader and
    // when a call fails. Logs a line when the reader is listed, when there is none at all, and for a failing call with
    // its status (SCARD_E_NO_MEMORY when memory runs out).
    static bool IsKlSCardInstalled();

    // Make the Smart Card service and the Certificate Propagation service start automatically, and start them unless
    // they run, are starting, or do not tell their state. Do not wait for the start, and do nothing in a 32-bit process
    // on 64-bit Windows. Log a failure to change or to start a service with the last error, and no other failure.
    // Return  0  done or nothing to do, even if the start failed
    //        -1  the service manager or the service cannot be opened, the configuration cannot be read, or the start
    //            type cannot be changed
    static int ConfigureSmartCardService();
    static int ConfigureCertPropService();

    // Runs the device installer of `folder` (UTF-16, with a backslash at the end) in that folder, with `arguments`
    // (UTF-16), and waits for it without a limit. Logs the command line, then the start and the exit code, or the error
    // of a failed start.
    // Returns  0  it was started, whatever its exit code
    //         -2  it could not be started, or an exception was caught
    static int RunDriverStager(const std::wstring& folder, std::wstring_view arguments);

    // Reads the install location (UTF-16) from the registry into `path`. False, with `path` untouched, when the key or
    // the value cannot be read, or the value has more than 256 characters. Logs nothing.
    static bool GetInstallPath(std::wstring& path);

    // Installs the virtual reader: the services above, its body library in the system directory (at the next start of
    // Windows when it is in use), its driver package and its device. Stops at the first failure, and logs it; what was
    // done before stays.
    // Returns  0  installed, or skipped (not a supported configuration, reader already there)
    //         -1  no system directory, or no location
    //         -3  the library could neither be copied nor scheduled, or an exception was caught
    //         -4  a command of the device installer could not be started
    int Install(const wchar_t* location) const;

    // Removes the virtual reader, and notes in the registry whether there was one. Without a `location`, the registry
    // names it. Logs each failure and goes on.
    // Returns  0  removed, or skipped (not a supported configuration, no reader)
    //         -1  no system directory, or an exception was caught
    int Uninstall(const wchar_t* location) const;

    // Installs the minidriver: the services above, its body libraries, its driver package and its binding. Stops at the
    // first failure, and logs it; what was done before stays.
    // Returns  0  installed, or skipped (before Windows Vista, reader already there)
    //         -1  no system directory, no Windows directory, or no location
    //         -3  a library could not be copied, or an exception was caught
    //         -4  a command of the device installer could not be started
    int InstallMiniDrv(const wchar_t* location) const;

    // Removes the minidriver when the virtual reader is there. Without a `location`, the registry names it. Logs each
    // failure and goes on.
    // Returns  0  removed, or skipped (before Windows Vista, no reader)
    //         -1  no system directory, or an exception was caught
    int UninstallMiniDrv(const wchar_t* location) const;

private:
    const bool m_bKlSCardInstalled;
};
