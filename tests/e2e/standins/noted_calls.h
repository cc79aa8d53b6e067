// Notes of calls to stand-ins for Windows' own libraries, in the form in which a rehearsal records calls.
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

// Names and their values, as JSON.
using Members = std::vector<std::pair<const char*, std::string>>;

// Values as JSON.
std::string JsonText(const wchar_t* text); // a null pointer becomes null
std::string JsonNumber(DWORD number);
std::string JsonFlag(bool flag);
std::string JsonList(const std::vector<std::string>& values);
std::string JsonObject(const Members& members);

// Adds a call, with its parameters as JSON and its result, to the one file of notes.
void NoteCall(const char* name, const Members& in, LONG result);
