// Calls a single function of the program on a real Windows: kelo_calls NAME [ARGUMENTS...] prints its result.
#include <windows.h>

#include "tests/support/test_text.h"

#include <cstdio>
#include <string>
#include <vector>

// Defined by tests/unit/calls/, which the simulated machine's test image has too.
extern "C" bool WinsimTestCall(const std::string& name, const std::vector<std::string>& arguments, std::string& result);

int wmain(int argc, wchar_t** argv)
{
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i)
        words.push_back(Utf8OfWide(argv[i]));
    std::string result;
    if (words.empty() || !WinsimTestCall(words.front(), {words.begin() + 1, words.end()}, result))
    {
        std::fputs("kelo_calls: no such function\n", stderr);
        return 2;
    }
    std::fputs(result.c_str(), stdout);
    return 0;
}
