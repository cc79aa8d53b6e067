// Changes and shows a machine for tests: services, the registry, files, processes. Texts go in and out as UTF-8.
//
// Verbs that change it:
//   create NAME BINARY_PATH [DISPLAY_NAME TYPE START ERROR_CONTROL GROUP DEPENDENCIES ACCOUNT DESCRIPTION]
//                        registers a service, or changes one; "/" separates dependencies. What is left out or empty is
//                        as usual in a new service, and stays as it is in another.
//   start NAME           starts a service
//   delete NAME          deletes a service, if there is one
//   await MS NAME STATE...
//                        waits until services are in their states (numbers; 0: there is no such service), or until so
//                        many milliseconds are over
//   value KEY NAME TYPE HEX
//                        gives a registry value its type (a number) and its bytes
//   key KEY              makes a registry key
//   secure KEY SDDL      gives a key an owner and an access list
//   copy FILE PATH       copies a file; the folders on the way are made
//   write PATH LINE...   writes a text file; the folders on the way are made
//   link PATH TARGET KIND
//                        makes a symbolic link, of the kind "file" or "folder", if this Windows has such links
//   hardlink PATH FILE   gives a file another name
//
// Verbs that show, as JSON, what KeloDescribe leaves out; keys are below HKEY_LOCAL_MACHINE:
//   states               the states of all services (numbers), by their names
//   processes            a list of the names of the running programs' files
//
//   save KEY FILE        writes a key, if it is there, and all keys below it to a file that is not there yet
//
//   script FILE          does each line of a file: a verb and its arguments, with tabs between them
//
// Exit status: 0, or the Windows error; the output then ends with it, and with the verb that failed.
#include "tests/e2e/tools/machine_tool/verbs.h"
#include "tests/support/test_text.h"

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace
{

int RunScript(const Words& words);

struct Verb
{
    const wchar_t* name;
    std::size_t leastWords;
    int (*run)(const Words& words);
};

constexpr Verb kVerbs[] = {
    {L"create", 3, &RegisterService},
    {L"start", 2, &BeginService},
    {L"delete", 2, &RemoveService},
    {L"await", 2, &AwaitStates},
    {L"value", 4, &SetValue},
    {L"secure", 3, &SecureKey},
    {L"key", 2, &MakeKey},
    {L"states", 1, &ShowStates},
    {L"processes", 1, &ShowProcesses},
    {L"save", 3, &SaveKey},
    {L"copy", 3, &CopyToPlace},
    {L"write", 2, &WriteText},
    {L"link", 4, &MakeLink},
    {L"hardlink", 3, &MakeHardLink},
    {L"script", 2, &RunScript},
};

int RunVerb(const Words& words)
{
    for (const Verb& verb : kVerbs)
    {
        if (!words.empty() && words.front() == verb.name && words.size() >= verb.leastWords)
            return verb.run(words);
    }
    return ERROR_INVALID_PARAMETER;
}

int Run(const Words& words)
{
    const int status = RunVerb(words);
    if (status == 0)
        return 0;
    std::string line;
    for (const std::wstring& word : words)
        line += " " + Utf8OfWide(word);
    std::printf("machine_tool:%s: error %d (%s)\n", line.c_str(), status,
                std::system_category().message(status).c_str());
    return status;
}

int RunScript(const Words& words)
{
    std::ifstream file{std::filesystem::path(words[1]), std::ios::binary};
    for (std::string line; std::getline(file, line);)
    {
        Words lineWords(1);
        for (const wchar_t c : WideOfUtf8(line))
        {
            if (c == L'\t')
                lineWords.emplace_back();
            else
                lineWords.back() += c;
        }
        if (const int status = Run(lineWords))
            return status;
    }
    return file.eof() ? 0 : ERROR_FILE_NOT_FOUND;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    return Run(Words(argv + 1, argv + argc));
}
