// Shared by the conformance tests. They are ordinary Windows code: the same sources run against the simulated machine
// and, compiled for Windows, against Wine or Windows itself.
//
// The test framework may have been built for wider wide characters than these sources use, so a test passes it no wide
// text, but the text's Shown form.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <concepts>
#include <cstddef>
#include <functional>
#include <string>

// Whether the tests run against Wine's implementation of Windows. A case that cannot hold there is skipped with its
// reason: if (IsOnWine()) GTEST_SKIP() << "...";
bool IsOnWine();

// Declares that a test misuses handles on purpose. The simulated machine normally fails such a test; after this call,
// it fails a test that does not misuse any.
void MisusesHandles();

// Whether a call ends in an access violation.
bool Faults(const std::function<void()>& call);

// The error of a call, by its result; 0 if it succeeded.
LSTATUS ErrorOf(BOOL succeeded);

// The same for a function that makes the call: whether the call sets the last error.
template <std::invocable Call>
LSTATUS ErrorOf(Call call)
{
    SetLastError(ERROR_SUCCESS);
    return ErrorOf(call() ? TRUE : FALSE);
}

// ASCII as UTF-16.
std::wstring Wide(const std::string& text);

// UTF-16 as narrow text: ASCII as it is, everything else as <XXXX>.
std::string Shown(const wchar_t* text);
std::string Shown(const wchar_t* text, std::size_t length);

// Bytes as narrow text in the same way, as <XX>.
std::string Shown(const std::string& bytes);

// A registry key below HKEY_LOCAL_MACHINE and a directory that belong only to the running test. Both are new.
std::string TestKeyName();
std::string TestDirectory();

// Appends the text to a file, which need not exist.
void MakeFile(const std::string& path, const char* text = "");

bool Exists(const std::string& path);

// The path of a known folder.
std::string FolderPath(int csidl);

inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
