// Runs the conformance tests on Windows or Wine. With "--records FILE" each event goes to a file as soon as it happens,
// so that a test that ends the program loses no other test's result: "begin", "passed", "failed" or "skipped", the
// test's name and its messages, with tabs between them, and "end" after the last test.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace
{

class Recorder : public testing::EmptyTestEventListener
{
public:
    explicit Recorder(const char* path) : m_file(std::fopen(path, "a")) {}
    ~Recorder() override
    {
        if (m_file != nullptr)
            std::fclose(m_file);
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    void OnTestStart(const testing::TestInfo& test) override { Write("begin", NameOf(test)); }

    void OnTestEnd(const testing::TestInfo& test) override
    {
        const testing::TestResult& result = *test.result();
        std::string messages;
        for (int i = 0; i < result.total_part_count(); ++i)
        {
            const testing::TestPartResult& part = result.GetTestPartResult(i);
            if (!part.passed())
                messages += (messages.empty() ? "" : "\n") + std::string(part.message());
        }
        Write(result.Failed() ? "failed" : result.Skipped() ? "skipped" : "passed", NameOf(test), OneLine(messages));
    }

    void OnTestProgramEnd(const testing::UnitTest&) override { Write("end", ""); }

private:
    static std::string NameOf(const testing::TestInfo& test)
    {
        return std::string(test.test_suite_name()) + "." + test.name();
    }

    static std::string OneLine(std::string text)
    {
        for (char& c : text)
            c = c == '\n' ? '|' : static_cast<unsigned char>(c) < ' ' ? ' ' : c;
        return text;
    }

    void Write(const char* event, const std::string& test, const std::string& messages = {})
    {
        if (m_file == nullptr)
            return;
        std::fprintf(m_file, "%s\t%s\t%s\n", event, test.c_str(), messages.c_str());
        std::fflush(m_file);
    }

    std::FILE* m_file;
};

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (argc == 3 && std::string(argv[1]) == "--records")
        testing::UnitTest::GetInstance()->listeners().Append(new Recorder(argv[2])); // the framework deletes it
    return RUN_ALL_TESTS();
}
