// The way to the install log's file: each part of it is checked, made where it is missing, and held open.
#pragma once

#include "windows/pinned_path.h"

#include <cstdio>
#include <optional>
#include <string>

// Holds nothing at first. Writers that open the same file through one object have its path checked once: what the first
// of them has pinned (PinnedPath) cannot be replaced until the object lets go of it. Logs nothing.
class LogPath
{
public:
    // Chooses the file <appData>\Kelo Systems Corp\InstallLogs\Toolkit\<fileName> (both ANSI; appData is trusted). The
    // parts that are held stay open if it is the chosen file already. False when a text cannot be converted to UTF-16:
    // the rest of the path would lead elsewhere. The other operations need a chosen file.
    bool Choose(const std::string& appData, const std::string& fileName);

    // Makes the file's folder (SHCreateDirectoryExA). False when that fails, or when a part of the path that exists is
    // not what it says.
    bool MakeFolder();

    // Opens the file for appending, shared with all readers and writers (_fsopen), and makes it if it is missing. Null
    // when that fails, or when a part of the path is not what it says.
    std::FILE* OpenFile();

    // Lets go of the path, if one is held.
    void Release() { m_pins.reset(); }

private:
    std::string m_folder;             // of the chosen file
    std::string m_path;               // the chosen file
    std::optional<PinnedPath> m_pins; // there when a file is chosen
};
