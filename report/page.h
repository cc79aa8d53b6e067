// The page of one or more runs, for a browser.
#pragma once

#include "report/calls.h"
#include "winsim/base/json.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace report
{

struct PageRun
{
    const Story* story = nullptr;
    std::string command;
    std::vector<RunCall> calls = {};
    std::vector<std::vector<std::string>> changes = {}; // rows of a table
};

// One self-contained page (HTML, UTF-8), which needs no network: the verdict, a timeline, the log and the calls side by
// side, the changes and the steps. It opens with the run at index `chosen`.
std::string Page(const std::string& title, const std::vector<PageRun>& runs, std::size_t chosen);

// The page's name for a level.
const char* NameInPage(Level level);

// A page with its data (JSON) in place of @DATA@, where no text of the data can end the page's script.
std::string WithData(std::string_view page, const winsim::Json& data);

// Writes a text to a file. Throws std::runtime_error if the file cannot be written.
void WriteText(const std::string& path, const std::string& text);

// The page without its data, which replaces @DATA@.
extern const std::string_view kPageText;

} // namespace report
