// Another process that changes files while the simulated program runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace winsim
{

// One change that another process makes to a file or directory. It has every access right; an act fails only as Windows
// has it fail, for example because the program has the file open.
struct FileAct
{
    enum class Kind
    {
        Delete,
        Move,      // to `other`
        Write,     // replaces the content by `other`, and makes the file if it does not exist
        Directory, // makes a directory
        Link,      // makes a directory that is a link to `other`: a junction
        FileLink,  // makes a file that is a symbolic link to `other`
        HardLink,  // makes another name of the file `other`
        Turn       // turns an existing empty directory into a link to `other`, without deleting it
    };

    Kind kind = Kind::Delete;
    std::string path;
    std::string other = {};

    bool operator==(const FileAct&) const = default;
};

// The acts after the occurrence-th call of a name, or the occurrence-th call of all if the name is "*". If an act
// fails, the acts after it are left out.
struct Meanwhile
{
    std::string call;
    unsigned occurrence = 1;
    std::vector<FileAct> acts;
};

// An act that was tried, and its Win32 error; 0: it was done.
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

// The text that ParseMeanwhile reads, or its part for one act.
std::string TextOf(const FileAct& act);
std::string TextOf(const Meanwhile& meanwhile);

// Does the acts that are planned after a call, which was the `occurrence`-th of its name and the `ordinal`-th of all.
// Notes each tried act in the simulation.
void HappenAfter(std::string_view call, unsigned occurrence, unsigned ordinal);

} // namespace winsim
