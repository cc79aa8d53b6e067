// The TSP library of an installed NTRU stack.
#pragma once

// Looks for the NTRU stack's own TSP library, beside the program of its service or in its place under the program
// files. When the library's version is 1.2.1.25 or later, deletes a TSP1 shim from the system directory; copies
// nothing. -1 when the library is not there or the program files' folder is unknown; 0 when the check ran to its
// end; 1 when the system directory is unknown or an exception of any kind was caught. Logs each finding and each
// failure.
int CopyTSP1FileImp();
