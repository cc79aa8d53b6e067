// Proves which folder is the install folder, for all kinds of program paths.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::IsEmpty;

std::string FolderOf(const std::string& path, const char* machine = "{}")
{
    const SimulatedRun run = CallFunction(MachineOf(machine), "InstallFolderOf", {path});
    EXPECT_THAT(run.script, IsEmpty());
    return run.result;
}

// A folder path of `length` characters in all: `start`, a name, and a backslash at its end.
std::string LongFolder(const std::string& start, std::size_t length)
{
    return start + std::string(length - start.size() - 1, 'd') + "\\";
}

TEST(InstallFolderOf, IsTheDriveAndTheDirectory)
{
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"drive and directory with a backslash", R"(C:\Program Files\Kelo Systems Corp\Toolkit\KeloCustomAction.exe)",
         R"(C:\Program Files\Kelo Systems Corp\Toolkit\)"},
        {"periods in names", R"(d:\a.b\c.exe)", R"(d:\a.b\)"},
        {"the root of a drive", R"(C:\kelo)", R"(C:\)"},
        {"no file name", R"(C:\folder\)", R"(C:\folder\)"},
        {"a path without a directory leaves the drive", "C:kelo.exe", "C:"},
        {"a drive alone", "C:", "C:"},
        {"a drive is any character and a colon", "::kelo.exe", "::"},
        {"even a backslash", R"(\:kelo.exe)", R"(\:)"},
        {"a colon after the second character is none", "ab:kelo.exe", ""},
        {"nor is one at the beginning", ":kelo.exe", ""},
        {"a bare name has no folder", "kelo.exe", ""},
        {"neither has an empty path", "", ""},
        {"a path without a drive keeps its directory", R"(\tools\kelo.exe)", R"(\tools\)"},
        {"also a relative one", R"(tools\kelo.exe)", R"(tools\)"},
        {"also the parent", R"(..\kelo.exe)", R"(..\)"},
        {"a network path keeps server and share", R"(\\server\share\tools\kelo.exe)", R"(\\server\share\tools\)"},
        {"also without a directory", R"(\\server\share\kelo.exe)", R"(\\server\share\)"},
        {"forward slashes separate too", "C:/tools/kelo.exe", "C:/tools/"},
        {"both kinds of slashes", R"(C:\tools/bin\kelo.exe)", R"(C:\tools/bin\)"},
        {"a long file name does not matter", R"(C:\tools\)" + std::string(300, 'n') + "." + std::string(300, 'e'),
         R"(C:\tools\)"},
    };
    for (const auto& [rule, path, folder] : cases)
        EXPECT_EQ(FolderOf(path), folder) << rule;
}

TEST(InstallFolderOf, HasFewerThan260Characters)
{
    // With a drive, and a directory alone.
    for (const char* start : {R"(C:\)", R"(\\server\)"})
    {
        for (const std::size_t length : {258, 259})
            EXPECT_EQ(FolderOf(LongFolder(start, length) + "kelo.exe"), LongFolder(start, length)) << length;
        for (const std::size_t length : {260, 261, 262, 300})
            EXPECT_EQ(FolderOf(LongFolder(start, length) + "kelo.exe"), "") << length;
    }
}

TEST(InstallFolderOf, IsAnsiText)
{
    EXPECT_EQ(FolderOf("C:\\\u00DCbung\\kelo.exe"), "C:\\\xDC"
                                                    "bung\\");
    EXPECT_EQ(FolderOf("C:\\\u4E2D\\kelo.exe"), "C:\\?\\");
    EXPECT_EQ(FolderOf("C:\\\u8868\\kelo.exe", R"({"windows": {"codePage": 932}})"), "C:\\\x95\x5C\\");
}

} // namespace
