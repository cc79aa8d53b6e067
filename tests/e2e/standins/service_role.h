// What a program does that the service manager has started.
#pragma once

// Whether this process was started for a service: its command line is the one that a service has.
bool IsStartedAsService();

// Goes through the states that are described for the service, as Windows' service manager would have it: what the
// service depends on is started too, and a missing one prevents the start. Wine's manager leaves that alone. (It also
// lets a service be stopped on which others depend, which a service cannot prevent.) Returns a Win32 error.
//
// The states stand in the file "NAME.states" beside the program, NAME being the service's. A line is one state: "start"
// or "stop" for what it answers, the milliseconds since then, and the first seven members of a SERVICE_STATUS_PROCESS
// without the type. The process runs until the service has stopped; without a file it runs at once and stops at once.
int RunAsService();
