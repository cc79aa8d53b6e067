// What the conformance tests share. They are ordinary Windows code: the same sources run against the simulated machine
// and, compiled for Windows, against Wine or Windows itself.
//
// The test framework may have been made for wider wide characters than these sources have: a test hands it no wide
// text, but the Shown form of one.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

// Whether the tests run against Wine's implementation of Windows. A case that cannot hold there is skipped with its
// reason: if (IsOnWine()) GTEST_SKIP() << "...";
bool IsOnWine();

// Says that a test uses handles wrongly on purpose. The simulated machine, which fails a test that does so, then fails
// it if it does not.
void MisusesHandles();

// UTF-16 as narrow text: ASCII as it is, everything else as <XXXX>.
std::string Shown(const wchar_t* text);
std::string Shown(const wchar_t* text, std::size_t length);

// Bytes likewise, as <XX>.
std::string Shown(const std::string& bytes);

// A registry key below HKEY_LOCAL_MACHINE and a directory that belong to the running test alone. Both are new.
std::string TestKeyName();
std::string TestDirectory();
