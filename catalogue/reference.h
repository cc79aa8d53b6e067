// The reference of the install log, for people.
#pragma once

#include <string>

namespace catalogue
{

// The content of docs/log.md (Markdown, UTF-8): each action's steps, and each step's texts.
std::string Reference();

} // namespace catalogue
