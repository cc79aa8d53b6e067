// Reads the texts that the program can log out of its sources.
#pragma once

#include <set>
#include <string>

// The texts of the source files below a folder: every literal that WriteLog is handed, and every other narrow literal
// with a blank in it, as the tables of texts have them, but for those known not to be texts of the log.
std::set<std::string> TextsInSources(const std::string& folder);
