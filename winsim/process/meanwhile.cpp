// Lets another process change files of the running machine, as far as open handles allow it.
#include "winsim/process/meanwhile.h"

#include "fileapi.h"
#include "processthreadsapi.h"
#include "winnt.h"
#include "winsim/base/numbered_call.h"
#include "winsim/process/open_files.h"
#include "winsim/process/simulation.h"

#include <stdexcept>
#include <utility>

namespace winsim
{

namespace
{

// An ordinary user, not an administrator.
constexpr char kOtherUser[] = "S-1-5-21-1004336348-1177238915-682003330-1002";
constexpr char kAnyCall[] = "*";
constexpr std::string_view kArrow = " -> ";

struct ActWord
{
    FileAct::Kind kind;
    const char* word;
    bool hasOther;
};

constexpr ActWord kWords[] = {
    {FileAct::Kind::Delete, "delete", false},    {FileAct::Kind::Move, "move", true},
    {FileAct::Kind::Write, "write", true},       {FileAct::Kind::Directory, "directory", false},
    {FileAct::Kind::Link, "link", true},         {FileAct::Kind::FileLink, "filelink", true},
    {FileAct::Kind::HardLink, "hardlink", true}, {FileAct::Kind::Turn, "turn", true},
};

const ActWord& WordOf(FileAct::Kind kind)
{
    return *std::ranges::find(kWords, kind, &ActWord::kind);
}

FileAct ParseAct(const std::string& text)
{
    const std::size_t blank = std::min(text.find(' '), text.size());
    const auto word = std::ranges::find(kWords, text.substr(0, blank), &ActWord::word);
    if (word == std::end(kWords))
        throw std::invalid_argument("\"" + text.substr(0, blank) + "\" is not something that can be done to a file");
    FileAct act{word->kind, blank < text.size() ? text.substr(blank + 1) : ""};
    const std::size_t arrow = act.path.find(kArrow);
    if ((arrow != std::string::npos) != word->hasOther || act.path.find(':') != 1)
        throw std::invalid_argument("\"" + text + "\" is not like \"" + word->word + " C:\\a" +
                                    (word->hasOther ? " -> C:\\b\"" : "\""));
    if (word->hasOther)
    {
        act.other = act.path.substr(arrow + kArrow.size());
        act.path.resize(arrow);
    }
    return act;
}

// ---- The acts: each returns a Win32 error

Files& AllFiles()
{
    return Simulation::Current().machine.files;
}

// Makes a file or directory that belongs to the other user.
std::uint32_t Make(const std::string& path, bool isDirectory, const std::string& link)
{
    Files& files = AllFiles();
    if (files.Find(path) != nullptr)
        return ERROR_ALREADY_EXISTS;
    if (!files.IsDirectory(Files::ParentOf(path)))
        return ERROR_PATH_NOT_FOUND;
    File& file = files.Create(path, isDirectory);
    file.security.owner = kOtherUser;
    file.link = link;
    if (!link.empty())
        file.linkMaker = kOtherUser;
    return ERROR_SUCCESS;
}

std::uint32_t Delete(const std::string& path)
{
    const File* file = AllFiles().Find(path);
    if (file == nullptr)
        return ERROR_FILE_NOT_FOUND;
    if (AllFiles().HasEntries(path))
        return ERROR_DIR_NOT_EMPTY;
    if (const std::uint32_t error = UnlinkError(*file); error != ERROR_SUCCESS)
        return error;
    Simulation::Current().DeleteName(path);
    return ERROR_SUCCESS;
}

std::uint32_t Move(const std::string& path, const std::string& to)
{
    const File* file = AllFiles().Find(path);
    if (file == nullptr)
        return ERROR_FILE_NOT_FOUND;
    if (AllFiles().Find(to) != nullptr)
        return ERROR_ALREADY_EXISTS;
    if (!AllFiles().IsDirectory(Files::ParentOf(to)))
        return ERROR_PATH_NOT_FOUND;
    if (const std::uint32_t error = UnlinkError(*file); error != ERROR_SUCCESS)
        return error;
    if (const std::uint32_t error = OpenBelowError(*file); error != ERROR_SUCCESS)
        return error;
    AllFiles().Move(path, to);
    return ERROR_SUCCESS;
}

std::uint32_t Write(const std::string& path, const std::string& content)
{
    if (AllFiles().Find(path) == nullptr)
    {
        if (const std::uint32_t error = Make(path, false, ""); error != ERROR_SUCCESS)
            return error;
    }
    File& file = *AllFiles().Find(path);
    if (file.isDirectory)
        return ERROR_ACCESS_DENIED;
    const std::uint32_t error =
        SharingError(file, FILE_WRITE_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    if (error == ERROR_SUCCESS)
        file.content = content;
    return error;
}

std::uint32_t AddHardLink(const std::string& path, const std::string& existing)
{
    const File* file = AllFiles().Find(existing);
    if (file == nullptr)
        return ERROR_FILE_NOT_FOUND;
    if (AllFiles().Find(path) != nullptr)
        return ERROR_ALREADY_EXISTS;
    if (file->isDirectory)
        return ERROR_ACCESS_DENIED;
    if (!AllFiles().IsDirectory(Files::ParentOf(path)))
        return ERROR_PATH_NOT_FOUND;
    AllFiles().AddName(path, existing);
    return ERROR_SUCCESS;
}

std::uint32_t Turn(const std::string& path, const std::string& target)
{
    File* file = AllFiles().Find(path);
    if (file == nullptr)
        return ERROR_FILE_NOT_FOUND;
    if (!file->isDirectory)
        return ERROR_DIRECTORY;
    if (AllFiles().HasEntries(path))
        return ERROR_DIR_NOT_EMPTY;
    file->link = target;
    file->linkMaker = kOtherUser;
    return ERROR_SUCCESS;
}

// The paths of an act are followed through links, as on Windows, except for a link at the end.
std::string FullPlace(const std::string& path)
{
    return AllFiles().Resolve(path, LastLink::Keep).path;
}

std::uint32_t Do(const FileAct& act)
{
    const std::string path = FullPlace(act.path);
    switch (act.kind)
    {
    case FileAct::Kind::Delete:
        return Delete(path);
    case FileAct::Kind::Move:
        return Move(path, FullPlace(act.other));
    case FileAct::Kind::Write:
        return Write(path, act.other);
    case FileAct::Kind::Directory:
        return Make(path, true, "");
    case FileAct::Kind::Link:
        return Make(path, true, act.other);
    case FileAct::Kind::FileLink:
        return Make(path, false, act.other);
    case FileAct::Kind::HardLink:
        return AddHardLink(path, FullPlace(act.other));
    case FileAct::Kind::Turn:
        return Turn(path, act.other);
    }
    return ERROR_INVALID_PARAMETER;
}

void Happen(const Meanwhile& meanwhile)
{
    Simulation& simulation = Simulation::Current();
    for (const FileAct& act : meanwhile.acts)
    {
        const std::uint32_t error = Do(act);
        simulation.gate.triedActs.push_back({act, error, simulation.gate.records.size()});
        if (error != ERROR_SUCCESS)
            return;
    }
}

} // namespace

Meanwhile ParseMeanwhile(const std::string& text)
{
    const auto fail = [&](const std::string& what) -> Meanwhile {
        throw std::invalid_argument("meanwhile \"" + text + "\": " + what + "; write CALL[#N]=ACT[; ACT...]");
    };
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        return fail("no call given");
    const auto call = ParseNumberedCall(std::string_view(text).substr(0, equals));
    if (!call)
        return fail(kBadCallNumber);
    Meanwhile meanwhile{call->name, call->number.value_or(1), {}};
    try
    {
        constexpr std::string_view kSeparator = "; ";
        for (std::size_t start = equals + 1; start <= text.size();)
        {
            const std::size_t end = std::min(text.find(kSeparator, start), text.size());
            meanwhile.acts.push_back(ParseAct(text.substr(start, end - start)));
            start = end + kSeparator.size();
        }
    }
    catch (const std::invalid_argument& error)
    {
        return fail(error.what());
    }
    return meanwhile;
}

std::string TextOf(const FileAct& act)
{
    const ActWord& word = WordOf(act.kind);
    return std::string(word.word) + " " + act.path + (word.hasOther ? std::string(kArrow) + act.other : "");
}

std::string TextOf(const Meanwhile& meanwhile)
{
    std::string text = meanwhile.call + "#" + std::to_string(meanwhile.occurrence) + "=";
    const char* separator = "";
    for (const FileAct& act : meanwhile.acts)
        text += std::exchange(separator, "; ") + TextOf(act);
    return text;
}

void HappenAfter(std::string_view call, unsigned occurrence, unsigned ordinal)
{
    for (const Meanwhile& meanwhile : Simulation::Current().gate.meanwhile)
    {
        const unsigned reached = meanwhile.call == kAnyCall ? ordinal : meanwhile.call == call ? occurrence : 0;
        if (reached == meanwhile.occurrence)
            Happen(meanwhile);
    }
}

} // namespace winsim
