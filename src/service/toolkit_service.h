// The toolkit's Windows service, "KlPCR".
#pragma once

// Stops a service left from before, has the service program register itself, gives the service its start type,
// load-order group, dependencies and description, and starts it. `vendor` (UTF-16, compared without regard to
// case) names the TCG software stack that the service depends on: "IFX", "NTRU" or "KELO"; any other depends on
// none. `directory` (ANSI) is where the service program lies; a backslash and the file name are put after it,
// and when it is not a full path no program is run.
// 0 when the service could be opened to be configured, even if configuring or starting it failed; -1 when the
// service manager or the service could not be opened for that, and when an exception was caught. Logs each step and
// each failure.
int InstallTkService(const wchar_t* vendor, const char* directory);

// Stops the service, has the service program take back its registration, and deletes the service. 0 when it ran
// to its end, even if a step failed; -1 when the service manager or the service could not be opened, as when the
// service is not installed. Logs each step and each failure.
int UnInstallTkService();
