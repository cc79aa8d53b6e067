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

TEST(InstallFolderOf, IsTheDriveAndTheDirectoryWithABackslash)
{
    EXPECT_EQ(FolderOf("C:\\Program Files\\Kelo Systems Corp\\Toolkit\\KeloCustomAction.exe"),
              "C:\\Program Files\\Kelo Systems Corp\\Toolkit\\");
    EXPECT_EQ(FolderOf("d:\\a.b\\c.exe"), "d:\\a.b\\");
    EXPECT_EQ(FolderOf("C:\\kelo"), "C:\\");
    EXPECT_EQ(FolderOf("C:\\folder\\"), "C:\\folder\\");
}

TEST(InstallFolderOf, APathWithoutADirectoryLeavesTheDrive)
{
    EXPECT_EQ(FolderOf("C:kelo.exe"), "C:");
    EXPECT_EQ(FolderOf("C:"), "C:");
}

TEST(InstallFolderOf, ABareNameHasNoFolder)
{
    EXPECT_EQ(FolderOf("kelo.exe"), "");
    EXPECT_EQ(FolderOf(""), "");
}

TEST(InstallFolderOf, APathWithoutADriveKeepsItsDirectory)
{
    EXPECT_EQ(FolderOf("\\tools\\kelo.exe"), "\\tools\\");
    EXPECT_EQ(FolderOf("tools\\kelo.exe"), "tools\\");
    EXPECT_EQ(FolderOf("..\\kelo.exe"), "..\\");
}

TEST(InstallFolderOf, ANetworkPathKeepsServerAndShare)
{
    EXPECT_EQ(FolderOf("\\\\server\\share\\tools\\kelo.exe"), "\\\\server\\share\\tools\\");
    EXPECT_EQ(FolderOf("\\\\server\\share\\kelo.exe"), "\\\\server\\share\\");
}

TEST(InstallFolderOf, ForwardSlashesSeparateToo)
{
    EXPECT_EQ(FolderOf("C:/tools/kelo.exe"), "C:/tools/");
    EXPECT_EQ(FolderOf("C:\\tools/bin\\kelo.exe"), "C:\\tools/bin\\");
}

TEST(InstallFolderOf, HasFewerThan260Characters)
{
    EXPECT_EQ(FolderOf(LongFolder("C:\\", 258) + "kelo.exe"), LongFolder("C:\\", 258));
    EXPECT_EQ(FolderOf(LongFolder("C:\\", 259) + "kelo.exe"), LongFolder("C:\\", 259));
    EXPECT_EQ(FolderOf(LongFolder("C:\\", 260) + "kelo.exe"), "");
    EXPECT_EQ(FolderOf(LongFolder("C:\\", 261) + "kelo.exe"), "");
    EXPECT_EQ(FolderOf(LongFolder("C:\\", 262) + "kelo.exe"), "");
    EXPECT_EQ(FolderOf(LongFolder("C:\\", 300) + "kelo.exe"), "");
}

TEST(InstallFolderOf, ADirectoryAloneHasFewerThan260CharactersToo)
{
    EXPECT_EQ(FolderOf(LongFolder("\\\\server\\", 259) + "kelo.exe"), LongFolder("\\\\server\\", 259));
    EXPECT_EQ(FolderOf(LongFolder("\\\\server\\", 260) + "kelo.exe"), "");
    EXPECT_EQ(FolderOf(LongFolder("\\\\server\\", 300) + "kelo.exe"), "");
}

TEST(InstallFolderOf, ALongFileNameDoesNotMatter)
{
    EXPECT_EQ(FolderOf("C:\\tools\\" + std::string(300, 'n') + "." + std::string(300, 'e')), "C:\\tools\\");
}

TEST(InstallFolderOf, IsAnsiText)
{
    EXPECT_EQ(FolderOf("C:\\\u00DCbung\\kelo.exe"), "C:\\\xDC"
                                                    "bung\\");
    EXPECT_EQ(FolderOf("C:\\\u4E2D\\kelo.exe"), "C:\\?\\");
    EXPECT_EQ(FolderOf("C:\\\u8868\\kelo.exe", R"({"windows": {"codePage": 932}})"), "C:\\\x95\x5C\\");
}

} // namespace
