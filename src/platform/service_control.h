// Windows services by name: querying, starting, stopping and restarting them.
#pragma once

// Each operation takes a service's name (UTF-16), opens the service manager and the service itself, and closes both
// before it returns. Each logs what it finds and does, and every failure but one.
// Required: IsServiceRunning and StartServiceByName log nothing for a service that exists but cannot be opened.

// Whether the service is in any state but stopped (QueryServiceStatus). False also when it cannot be found, opened or
// queried.
bool IsServiceRunning(const wchar_t* serviceName);

// Starts the service (StartServiceA) and waits for it, about 25 seconds at most.
// Returns  true   it runs, or was in any state but stopped before
//          false  it did not run in time, or a call failed
bool StartServiceByName(const wchar_t* serviceName);

// Stops the service (ControlService) and waits until it has stopped, however long that takes.
// Returns  true   it has stopped, or was stopped before
//          false  a call failed
bool StopServiceByName(const wchar_t* serviceName);

// Stops the service as StopServiceByName does, unless it is stopped already, and starts it again (StartServiceA). Waits
// for the start while the service reports progress (dwCheckPoint), and gives up at the first poll without progress
// after 60 seconds.
// Returns  true   it runs
//          false  it does not, or a call failed
bool RestartServiceByName(const wchar_t* serviceName);
