// The process itself: its command line, identifiers, memory and environment.
#include "winsim/api/local_memory.h"
#include "winsim/api/program_exit.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/process_code.h"
#include "winsim/process/simulation.h"

#include "shellapi.h"
#include "winbase.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using winsim::Call;
using winsim::CallKind;
using winsim::Json;
using winsim::LeaveProcessCode;
using winsim::Simulation;

namespace
{

bool IsBlank(char16_t c)
{
    return c == u' ' || c == u'\t';
}

// Splits a command line by Windows' rules: the program's name ends at a blank or at its closing quotation mark; in the
// rest, backslashes are special only before a quotation mark.
std::vector<std::u16string> SplitCommandLine(const std::u16string& line)
{
    std::vector<std::u16string> words;
    std::size_t i = 0;
    std::u16string word;
    if (i < line.size() && line[i] == u'"')
    {
        const std::size_t end = line.find(u'"', 1);
        word = line.substr(1, end == std::u16string::npos ? end : end - 1);
        i = end == std::u16string::npos ? line.size() : end + 1;
    }
    else
    {
        while (i < line.size() && !IsBlank(line[i]))
            word += line[i++];
    }
    words.push_back(word);

    while (true)
    {
        while (i < line.size() && IsBlank(line[i]))
            ++i;
        if (i >= line.size())
            return words;
        word.clear();
        bool isQuoted = false;
        while (i < line.size() && (isQuoted || !IsBlank(line[i])))
        {
            std::size_t backslashes = 0;
            while (i < line.size() && line[i] == u'\\')
            {
                ++backslashes;
                ++i;
            }
            if (i >= line.size() || line[i] != u'"')
            {
                word.append(backslashes, u'\\');
                if (i < line.size() && (isQuoted || !IsBlank(line[i])))
                    word += line[i++];
                continue;
            }
            word.append(backslashes / 2, u'\\');
            ++i;
            if (backslashes % 2 != 0)
                word += u'"';
            else if (isQuoted && i < line.size() && line[i] == u'"')
            {
                // Two quotation marks in quoted text mean one quotation mark and the end of the quoted text.
                word += u'"';
                ++i;
                isQuoted = false;
            }
            else
                isQuoted = !isQuoted;
        }
        words.push_back(word);
    }
}

} // namespace

LPWSTR WINAPI GetCommandLineW()
{
    Call call{__func__};
    return call.Done(Simulation::Current().commandLine.data());
}

LPWSTR* WINAPI CommandLineToArgvW(LPCWSTR lpCmdLine, int* pNumArgs)
{
    Call call{__func__};
    call.In("lpCmdLine", lpCmdLine).Needs(lpCmdLine, pNumArgs);
    LPWSTR* const none = nullptr;
    return call.ResultOf(none, [&] {
        Simulation& simulation = Simulation::Current();
        // For an empty line the only word is the program's path, even if it contains blanks.
        const std::vector<std::u16string> words =
            *lpCmdLine != 0 ? SplitCommandLine(lpCmdLine)
                            : std::vector<std::u16string>{winsim::Utf16(simulation.machine.process.path)};
        std::size_t size = (words.size() + 1) * sizeof(LPWSTR);
        for (const std::u16string& word : words)
            size += (word.size() + 1) * sizeof(WCHAR);

        // A single block: the array of pointers, followed by the words.
        auto* argv = static_cast<LPWSTR*>(simulation.handles.Allocate<winsim::LocalBlock>(size));
        auto* text = reinterpret_cast<WCHAR*>(argv + words.size() + 1);
        Json list = Json::array();
        for (std::size_t i = 0; i < words.size(); ++i)
        {
            argv[i] = text;
            text = std::copy(words[i].c_str(), words[i].c_str() + words[i].size() + 1, text);
            list.push_back(winsim::Utf8(words[i]));
        }
        argv[words.size()] = nullptr;
        *pNumArgs = static_cast<int>(words.size());
        call.Out("pNumArgs", *pNumArgs).Out("argv", list);
        return call.Done(argv);
    });
}

void WINAPI ExitProcess(UINT uExitCode)
{
    {
        Call call{"ExitProcess"};
        call.In("uExitCode", uExitCode);
        Simulation::Current().EndItself(uExitCode);
    }
    LeaveProcessCode();
}

void winsim_exit(int status)
{
    {
        Call call{"exit"};
        call.In("status", status);
        Simulation::Current().SetExitCode(static_cast<std::uint32_t>(status));
    }
    LeaveProcessCode();
}

HANDLE WINAPI GetCurrentProcess()
{
    Call call{__func__};
    return call.Done(INVALID_HANDLE_VALUE);
}

DWORD WINAPI GetCurrentProcessId()
{
    Call call{__func__};
    return call.Done(Simulation::Current().machine.process.processId);
}

DWORD WINAPI GetCurrentThreadId()
{
    Call call{__func__};
    return call.Done(Simulation::Current().machine.process.threadId);
}

HLOCAL WINAPI LocalAlloc(UINT uFlags, SIZE_T uBytes)
{
    Call call{__func__, CallKind::Housekeeping};
    call.In("uFlags", uFlags).In("uBytes", static_cast<std::uint64_t>(uBytes));
    return call.ResultOf(HLOCAL{nullptr}, [&] {
        void* block = Simulation::Current().handles.Allocate<winsim::LocalBlock>(uBytes);
        // Memory that need not be zero is not, so that a program that relies on zeros fails.
        std::memset(block, (uFlags & LMEM_ZEROINIT) != 0 ? 0 : 0xCD, uBytes);
        return call.Done(block);
    });
}

HLOCAL WINAPI LocalFree(HLOCAL hMem)
{
    Call call{__func__, CallKind::Housekeeping};
    call.In("hMem", hMem);
    if (hMem == nullptr)
        return call.Done(HLOCAL{nullptr});
    // The block is freed even if the call has to fail, because no program tries again.
    const auto fault = call.Fault();
    if (!call.Free<winsim::LocalBlock>(hMem))
        return call.Fail(hMem, ERROR_INVALID_HANDLE);
    if (fault)
        return call.Fail(hMem, *fault);
    return call.Done(HLOCAL{nullptr});
}

DWORD WINAPI GetEnvironmentVariableA(LPCSTR lpName, LPSTR lpBuffer, DWORD nSize)
{
    Call call{__func__};
    call.In("lpName", lpName).In("nSize", nSize);
    return call.ResultOf(DWORD{0}, [&] {
        Simulation& simulation = Simulation::Current();
        const std::string* value =
            lpName == nullptr ? nullptr : simulation.machine.environment.Find(simulation.FromAnsi(lpName));
        if (value == nullptr)
            return call.Fail(DWORD{0}, ERROR_ENVVAR_NOT_FOUND);
        const std::string ansi = simulation.ToAnsi(*value);
        if (ansi.size() >= nSize)
            return call.Done(static_cast<DWORD>(ansi.size() + 1));
        std::memcpy(lpBuffer, ansi.c_str(), ansi.size() + 1);
        call.Out("lpBuffer", *value);
        return call.Done(static_cast<DWORD>(ansi.size()));
    });
}
