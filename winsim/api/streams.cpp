// Standard-library streams: files opened for appending, and standard output.
#include "winsim/api/streams.h"

#include "winsim/areas/files.h"
#include "winsim/core/gate.h"
#include "winsim/core/simulation.h"

#include "msvcrt.h"
#include "winsim_types.h"

#include <cerrno>

using winsim::Call;
using winsim::File;
using winsim::Files;
using winsim::Simulation;

namespace
{

constexpr char kStream[] = "stream";

struct OpenStream
{
    std::string path;
};

// The error of opening a file for appending; 0 when it can be.
DWORD AppendError(const Files& files, const std::string& path)
{
    if (path.empty())
        return ERROR_PATH_NOT_FOUND;
    const File* file = files.Find(path);
    if (file != nullptr)
        return file->isDirectory || file->isDenied || file->IsReadOnly() ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
    const File* parent = files.Find(Files::ParentOf(path));
    if (parent == nullptr || !parent->isDirectory)
        return ERROR_PATH_NOT_FOUND;
    return parent->isDenied ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

} // namespace

std::FILE* _fsopen(const char* path, const char* mode, int shareFlag)
{
    Call call{"_fsopen"};
    call.In("filename", path).In("mode", mode).In("shflag", shareFlag);
    std::FILE* const none = nullptr;
    if (const auto fault = call.Fault())
        return call.Fail(none, *fault);
    Simulation& simulation = Simulation::Current();
    const std::string name = simulation.FromAnsi(path);
    if (const DWORD error = AppendError(simulation.machine.files, name); error != ERROR_SUCCESS)
    {
        errno = error == ERROR_ACCESS_DENIED ? EACCES : ENOENT;
        return call.Fail(none, error);
    }
    simulation.machine.files.Create(name, false);
    return call.Done(static_cast<std::FILE*>(simulation.handles.Open(kStream, OpenStream{name})));
}

int winsim_fputs(const char* text, std::FILE* stream)
{
    Call call{"fputs"};
    call.In("str", text).In("stream", stream);
    if (const auto fault = call.Fault())
        return call.Fail(EOF, *fault);
    Simulation& simulation = Simulation::Current();
    const auto* open = simulation.handles.Find<OpenStream>(stream, kStream, "fputs");
    if (open == nullptr)
        return call.Fail(EOF, ERROR_INVALID_HANDLE);
    winsim::Files& files = simulation.machine.files;
    File* const found = files.Find(open->path);
    File& file = found != nullptr ? *found : files.Create(open->path, false);
    // A stream in text mode ends lines as Windows does.
    for (const char* c = text; *c != '\0'; ++c)
    {
        if (*c == '\n')
            file.content += '\r';
        file.content += *c;
    }
    return call.Done(0);
}

int winsim_fflush(std::FILE* stream)
{
    Call call{"fflush"};
    call.In("stream", stream);
    if (const auto fault = call.Fault())
        return call.Fail(EOF, *fault);
    if (Simulation::Current().handles.Find<OpenStream>(stream, kStream, "fflush") == nullptr)
        return call.Fail(EOF, ERROR_INVALID_HANDLE);
    return call.Done(0);
}

int winsim_fclose(std::FILE* stream)
{
    Call call{"fclose"};
    call.In("stream", stream);
    const auto fault = call.Fault();
    if (!Simulation::Current().handles.Close(stream, kStream, "fclose"))
        return call.Fail(EOF, ERROR_INVALID_HANDLE);
    if (fault)
        return call.Fail(EOF, *fault);
    return call.Done(0);
}

int winsim_print(const char* text)
{
    Call call{"printf"};
    call.In("text", text);
    if (const auto fault = call.Fault())
        return call.Fail(-1, *fault);
    Simulation& simulation = Simulation::Current();
    const std::string utf8 = simulation.FromAnsi(text);
    simulation.standardOutput += utf8;
    return call.Done(static_cast<int>(utf8.size()));
}
