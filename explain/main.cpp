// kelo-explain: tells what an install log from the field says.
#include "catalogue/reference.h"
#include "explain/decode.h"
#include "explain/explanation.h"
#include "explain/options.h"
#include "report/page.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <system_error>

namespace
{

constexpr int kUsageError = 2;

std::string ReadAll(std::istream& stream)
{
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string ReadLog(const std::string& path)
{
    if (path == "-")
        return ReadAll(std::cin);
    std::ifstream file(path, std::ios::binary);
    std::string bytes = ReadAll(file);
    if (!file)
        throw std::runtime_error(path + ": " + std::system_category().message(errno));
    return bytes;
}

void Explain(const ExplainOptions& options)
{
    const std::string text = Decode(ReadLog(options.logPath), options.codePage);
    const std::vector<report::Story> stories = report::TellAll(report::ReadLogLines(text));
    if (!options.htmlPath.empty())
        report::WritePage(options.htmlPath, ExplainInPage(options, stories));
    if (options.isJson)
        std::cout << ExplainInJson(stories).dump(2, ' ', false, winsim::Json::error_handler_t::replace) << "\n";
    else
        std::cout << ExplainInText(options, report::Style::OfStandardOutput(), stories);
}

} // namespace

int main(int argc, char** argv)
{
    const ParsedExplainOptions parsed = ParseExplainOptions(argc, argv);
    if (!parsed.options)
        return parsed.exitStatus;
    try
    {
        if (parsed.options->isReference)
            std::cout << catalogue::Reference();
        else
            Explain(*parsed.options);
        return 0;
    }
    catch (const std::exception& error)
    {
        std::cerr << "kelo-explain: " << error.what() << "\n";
        return kUsageError;
    }
}
