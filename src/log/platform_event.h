// The report to the Windows event log.
#pragma once

#include <windows.h>

// Adds one entry to the Application event log under the source "Kelo Platform Security", in category 2: `message`
// (UTF-16) is its one insertion string, `eventType` a type such as EVENTLOG_ERROR_TYPE. Returns 0, or the last error of
// RegisterEventSourceW or ReportEventW. Logs nothing.
DWORD ReportPlatformEvent(const wchar_t* message, DWORD eventId, WORD eventType);
