// Extracts the texts that the program can log from its sources.
#pragma once

#include <set>
#include <string>

// The texts of the source files below a folder, as the tables of texts have them: every literal that is passed to
// WriteLog, and every other narrow literal with a blank in it, except for those known not to be texts of the log.
std::set<std::string> TextsInSources(const std::string& folder);
