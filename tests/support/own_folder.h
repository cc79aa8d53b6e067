// A folder that exists as long as a test runs.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

// Tests with such a folder each.
class OwnFolder : public testing::Test
{
protected:
    OwnFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "kelo-test-XXXXXX").string();
        m_folder = mkdtemp(pattern.data());
    }
    ~OwnFolder() override { std::filesystem::remove_all(m_folder); }

    std::string Path(const char* name) const { return (m_folder / name).string(); }

    // Returns the path of the file.
    std::string Write(const char* name, const std::string& text) const
    {
        std::ofstream(m_folder / name) << text;
        return Path(name);
    }

private:
    std::filesystem::path m_folder;
};
