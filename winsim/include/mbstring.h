// Multibyte text of the C runtime, for the simulated machine.
#pragma once

extern "C"
{
    int _mbsicmp(const unsigned char* left, const unsigned char* right);
}
