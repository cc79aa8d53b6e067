// Runs a program of the kit or of Windows, without a window and without input.
#pragma once

#include <optional>
#include <string>

namespace proof
{

// A word of a command line, in quotation marks.
std::wstring Quoted(const std::wstring& word);

// Returns the exit code; nothing if the program did not end within the time and was ended. Throws StepError if it
// cannot be started. It starts in `folder`.
std::optional<unsigned long> RunProgram(std::wstring commandLine, const std::wstring& folder, unsigned long limitMs);

} // namespace proof
