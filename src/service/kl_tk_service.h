// The stop of a service within a time limit.
#pragma once

#include <windows.h>

#include <winsvc.h>

// Operations on a service that the caller has opened.
class CKlTkService
{
public:
    // Stops a service opened with at least SERVICE_STOP and SERVICE_QUERY_STATUS, and leaves it open. Waits about 30
    // seconds at most, each time as long as the service's wait hint (dwWaitHint, milliseconds). Sends no stop control
    // while a stop is pending. Logs failures and the end of a pending stop; writes a line to standard output for each
    // wait for a pending stop.
    // Required: a stop control is sent even to a stopped service.
    // Returns  0  stopped
    //         -1  not stopped in time
    //         -2  the status could not be read (QueryServiceStatusEx)
    //          1  a stop that was pending before ended in time; or 0, if the line that says so could not be written
    static int StopService(SC_HANDLE service);
};
