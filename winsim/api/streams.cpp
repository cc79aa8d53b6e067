// Standard-library streams: files opened for appending, and standard output.
#include "winsim/api/streams.h"

#include "winsim/api/file_access.h"
#include "winsim/process/gate.h"
#include "winsim/process/open_files.h"
#include "winsim/process/simulation.h"

#include "fileapi.h"
#include "msvcrt.h"
#include "share.h"
#include "winsim_types.h"

#include <cerrno>

using winsim::Call;
using winsim::File;
using winsim::OpenStream;
using winsim::Simulation;

namespace
{

// The rights of a stream, which opens its file with GENERIC_WRITE.
constexpr std::uint32_t kAppending = winsim::kFileRights.write | FILE_READ_ATTRIBUTES;

// The sharing of a stream's file for one of the runtime's share flags. A stream never shares deletion.
std::uint32_t ShareOf(int flag)
{
    switch (flag)
    {
    case _SH_DENYRW:
        return 0;
    case _SH_DENYWR:
        return FILE_SHARE_READ;
    case _SH_DENYRD:
        return FILE_SHARE_WRITE;
    default:
        return FILE_SHARE_READ | FILE_SHARE_WRITE;
    }
}

// The errno that the runtime sets for a Win32 error.
int ErrnoOf(DWORD error)
{
    switch (error)
    {
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
        return EACCES;
    case ERROR_INVALID_NAME:
        return EINVAL;
    default:
        return ENOENT;
    }
}

} // namespace

std::FILE* _fsopen(const char* path, const char* mode, int shareFlag)
{
    Call call{__func__};
    call.In("filename", path).In("mode", mode).In("shflag", shareFlag);
    std::FILE* const none = nullptr;
    return call.ResultOf(none, [&] {
        const winsim::FileName name = winsim::FileNameOf(path);
        const std::uint32_t share = ShareOf(shareFlag);
        if (const DWORD error = winsim::OpenError(name, {kAppending, share, OPEN_ALWAYS}); error != ERROR_SUCCESS)
        {
            errno = ErrnoOf(error);
            return call.Fail(none, error);
        }
        File& file = winsim::OpenOrMake(name.path, false);
        // Every other mode appends, because no stream is read.
        if (mode != nullptr && *mode == 'w')
            file.content.clear();
        void* const stream = Simulation::Current().handles.Open(OpenStream{{file.identity, kAppending, share}});
        return call.Done(static_cast<std::FILE*>(stream));
    });
}

int winsim_fputs(const char* text, std::FILE* stream)
{
    Call call{"fputs"};
    call.In("str", text).In("stream", stream).Needs(text);
    return call.ResultOf(EOF, [&] {
        Simulation& simulation = Simulation::Current();
        const auto* open = call.Find<OpenStream>(stream);
        if (open == nullptr)
            return call.Fail(EOF, ERROR_INVALID_HANDLE);
        File* const file = simulation.machine.files.FindByIdentity(open->file.file);
        // Text written to a deleted file is lost.
        if (file == nullptr)
            return call.Done(0);
        // In text mode each line feed is written as Windows' line break.
        for (const char* c = text; *c != '\0'; ++c)
        {
            if (*c == '\n')
                file->content += '\r';
            file->content += *c;
        }
        return call.Done(0);
    });
}

int winsim_fflush(std::FILE* stream)
{
    Call call{"fflush"};
    call.In("stream", stream);
    return call.ResultOf(EOF, [&] {
        if (call.Find<OpenStream>(stream) == nullptr)
            return call.Fail(EOF, ERROR_INVALID_HANDLE);
        return call.Done(0);
    });
}

int winsim_fclose(std::FILE* stream)
{
    Call call{"fclose"};
    call.In("stream", stream);
    const auto fault = call.Fault();
    if (!call.Close<OpenStream>(stream))
        return call.Fail(EOF, ERROR_INVALID_HANDLE);
    Simulation::Current().EndPendingDeletions();
    if (fault)
        return call.Fail(EOF, *fault);
    return call.Done(0);
}

int winsim_print(const char* text)
{
    Call call{"printf"};
    call.In("text", text);
    return call.ResultOf(-1, [&] {
        Simulation& simulation = Simulation::Current();
        const std::string utf8 = simulation.FromAnsi(text);
        simulation.standardOutput += utf8;
        return call.Done(static_cast<int>(utf8.size()));
    });
}
