// The timed stop of a service.
#pragma once

#include <windows.h>

#include <winsvc.h>

// What is done with a service that the caller has opened.
class CKlTkService
{
public:
    // Stops a service opened with at least SERVICE_STOP and SERVICE_QUERY_STATUS, and leaves it open. Waits for
    // the stop by the service's own wait hint (dwWaitHint, in milliseconds, slept in full), about 30 seconds in
    // all. Sends no stop control while a stop is pending, and sends one even to a stopped service. 0 when the
    // service has stopped; -1 when it has not in time; -2 when its status cannot be read (QueryServiceStatusEx);
    // and after a stop that was pending already and ended in time, the result of the log's last line: 1 when it
    // was written, 0 when not. Logs failures and that end of a pending stop. Writes a line to standard output
    // for each wait for a pending stop.
    static int StopService(SC_HANDLE service);
};
