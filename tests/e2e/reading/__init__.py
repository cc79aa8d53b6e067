"""Reads what a Wine prefix is like at a moment, and what its stand-ins have noted. Changes nothing.

Whatever the program may ask of Windows is read by KeloDescribe (capture.py). Read here is only what KeloDescribe leaves
out, because it reads nothing of other software: each registry key and value, each file with its content, the state of
each service, the name of each process. These show changes that nobody expects, wherever they are."""
