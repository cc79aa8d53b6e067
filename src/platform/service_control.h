// Windows services by name: looking at them, starting, stopping and restarting them.
#pragma once

// Each of the four operations takes a service's name (UTF-16), opens the service manager and the service for
// itself, and closes both before it returns. Each logs what it finds and does, and every failure but one: a
// service that exists and cannot be opened gets no line from IsServiceRunning and StartServiceByName.

// Whether the service is in any state other than stopped (QueryServiceStatus). False also when it cannot be
// found, opened or queried. Changes nothing.
bool IsServiceRunning(const wchar_t* serviceName);

// Starts the service (StartServiceA) and waits for it, about 25 seconds at most. True when it runs, and when it
// was in any state other than stopped before; false when it did not come to run, and on every failure.
bool StartServiceByName(const wchar_t* serviceName);

// Stops the service (ControlService) and waits until it has stopped, however long that takes. True when it has,
// or had before; false on every failure.
bool StopServiceByName(const wchar_t* serviceName);

// Stops the service as StopServiceByName does, unless it is stopped already, and starts it again (StartServiceA).
// Waits for the start while the service reports progress (dwCheckPoint), and gives up at the first look without
// progress after 60 seconds. True when the service runs; false when it does not, and on every failure.
bool RestartServiceByName(const wchar_t* serviceName);
