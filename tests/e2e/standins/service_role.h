// The behaviour of a program that the service manager has started.
#pragma once

// Whether this process was started for a service: then its command line is a service's.
bool IsStartedAsService();

// Goes through the states that are described for the service. As on Windows, and unlike under Wine's service manager,
// the services on which it depends are started too, and a missing one prevents its start. (Wine's manager also stops
// services on which others depend, which a service cannot prevent.) Returns a Win32 error.
//
// The states are in the file "NAME.states" beside the program, where NAME is the service's. A line is one state:
// "start" or "stop" for the request that it answers, the milliseconds since then, and the first seven members of a
// SERVICE_STATUS_PROCESS without the type. The process runs until the service has stopped. Without a file the service
// runs at once and stops at once.
int RunAsService();
