// Gives each test its own folder of notes about the program's code that it runs: the folder with the test's name below
// the one in KELO_VISITS. The images for the group `mutants` make these notes. Without KELO_VISITS there are none.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/resource.h>

namespace
{

constexpr const char* kFolderOfNotes = "KELO_VISITS";

// Processor time of this process and of those that it has started and waited for: other programs may keep the processor
// busy.
double UsedSeconds()
{
    double seconds = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN})
    {
        rusage used{};
        getrusage(who, &used);
        for (const timeval& time : {used.ru_utime, used.ru_stime})
            seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    }
    return seconds;
}

class NotesOfEachTest : public testing::EmptyTestEventListener
{
public:
    explicit NotesOfEachTest(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    void OnTestStart(const testing::TestInfo& test) override
    {
        m_notes = m_folder / (std::string(test.test_suite_name()) + "." + test.name());
        std::filesystem::create_directories(m_notes);
        // Programs that the test starts make their notes there too.
        setenv(kFolderOfNotes, m_notes.c_str(), 1);
        m_begin = UsedSeconds();
    }

    void OnTestEnd(const testing::TestInfo&) override { std::ofstream(m_notes / "seconds") << UsedSeconds() - m_begin; }

private:
    std::filesystem::path m_folder, m_notes;
    double m_begin = 0;
};

[[maybe_unused]] const bool g_isNoting = [] {
    const char* const folder = std::getenv(kFolderOfNotes);
    if (folder != nullptr)
        testing::UnitTest::GetInstance()->listeners().Append(new NotesOfEachTest(folder));
    return folder != nullptr;
}();

} // namespace
