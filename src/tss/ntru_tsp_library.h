// The TSP library of an installed NTRU stack.
#pragma once

// Looks for the NTRU stack's own TSP library, beside the program of its service or in its usual folder below the
// program files. When the library's version is 1.2.1.25 or later, deletes a TSP1 shim from the system directory. Logs
// each finding and each failure.
// Required: despite its name, it copies nothing.
// Returns -1  the library is missing, or the program files' folder is unknown
//          0  the check ran to its end
//          1  the system directory is unknown, or an exception of any kind was caught
int CopyTSP1FileImp();
