// The floor of an image's size: an empty static program with texts and exceptions.
#include <windows.h>

#include <string>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR commandLine, int)
{
    try
    {
        return static_cast<int>(std::string(commandLine).substr(1).size());
    }
    catch (...)
    {
        return -1;
    }
}
