// What another process does to files while the simulated program runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace winsim
{

// One thing that another process does to a file or directory. It has every right but does not take part in what the
// program holds open: what Windows refuses then is not done.
struct FileAct
{
    enum class Kind
    {
        Delete,
        Move,      // to `other`
        Write,     // `other` becomes the content, of a new file too
        Directory, // makes one
        Link,      // makes a link of a directory to `other`: a junction
        FileLink,  // makes a symbolic link of a file to `other`
        HardLink,  // makes a further name of the file `other`
        Turn       // makes an empty directory a link to `other` as it stands, which needs no deletion
    };

    Kind kind = Kind::Delete;
    std::string path;
    std::string other = {};

    bool operator==(const FileAct&) const = default;
};

// What happens after the occurrence-th call of a name, or of all calls when the name is "*". Each act that cannot be
// done leaves out those after it.
struct Meanwhile
{
    std::string call;
    unsigned occurrence = 1;
    std::vector<FileAct> acts;
};

// An act that was tried, and the Win32 error that it came to; 0: it was done.
struct TriedAct
{
    FileAct act;
    std::uint32_t error = 0;
    std::size_t afterCall = 0; // how many calls had been recorded
};

// Reads CALL[#N]=ACT[; ACT...], such as "fputs#3=move C:\a -> C:\b; link C:\a -> C:\Windows". An act is one of "delete
// PATH", "move PATH -> PATH", "write PATH -> TEXT", "directory PATH", "link PATH -> TARGET", "filelink PATH -> TARGET",
// "hardlink PATH -> FILE" and "turn PATH -> TARGET". Throws std::invalid_argument, with a reason.
Meanwhile ParseMeanwhile(const std::string& text);

// The same text again.
std::string TextOf(const FileAct& act);
std::string TextOf(const Meanwhile& meanwhile);

// Does to the running machine what is due after a call, of which this was the `occurrence`-th of its name and the
// `ordinal`-th of all. Tried acts are noted in the simulation.
void HappenAfter(std::string_view call, unsigned occurrence, unsigned ordinal);

} // namespace winsim
