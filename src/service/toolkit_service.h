// The toolkit's Windows service, "KlPCR".
#pragma once

// Stops a service left from an earlier installation, has the service program register itself, gives the service its
// start type, load-order group, dependencies and description, and starts it. `vendor` (UTF-16, case does not count)
// names the TCG software stack that the service depends on: "IFX", "NTRU" or "KELO"; any other vendor means none.
// `directory` (ANSI) is the service program's, to which a backslash and the file name are appended; no program is run
// when it is not a full path. Logs each step and each failure.
// Returns  0  the service could be opened to be configured, even if configuring or starting it failed
//         -1  the service manager or the service could not be opened for that, or an exception was caught
int InstallTkService(const wchar_t* vendor, const char* directory);

// Stops the service, has the service program take back its registration, and deletes the service. Logs each step and
// each failure.
// Returns  0  it ran to its end, even if a step failed
//         -1  the service manager or the service could not be opened, as when the service is not installed
int UnInstallTkService();
