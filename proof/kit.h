// Where the kit is and what it works with: its folder, a folder for the time of its work, and texts on the screen.
#pragma once

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace proof
{

using Json = nlohmann::ordered_json;
using Words = std::vector<std::wstring>;

// A step that cannot be carried out. The text, in UTF-8, says why.
class StepError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// The same for a failed call of Windows, such as "msiexec: error 5".
StepError WindowsError(const std::string& what, unsigned long error);

// Full paths. The first two have no backslash at the end.
std::wstring KitFolder();  // where this program is
std::wstring WorkFolder(); // made at the first call; the last step removes it
std::wstring InKit(std::wstring_view name);

// What a standard folder is called, for one of the CSIDL_ numbers; empty if there is none.
std::wstring StandardFolder(int csidl);

// A text from this machine as it goes into the report: in UTF-8, with "<profile>", "<temp>" and "<kit>" in place of the
// paths of the user's folder, of that for temporary files and of the kit's, which can contain a name.
std::string Reported(std::wstring_view text);

// Bytes of a file; empty if it cannot be read. And bytes in Windows' ANSI code page as wide characters.
std::string ReadBytes(const std::wstring& path);
std::wstring FromAnsi(std::string_view bytes);

bool Exists(const std::wstring& path);

// Shows a text and starts a new line.
void Say(const std::wstring& text);

// The version of Wine that stands in for Windows; empty on a real Windows.
std::string WineVersion();

} // namespace proof
