// Finds the resource library for a language.
#include "messages/resource_library.h"

#include "messages/ui_language.h"

#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace
{

// A longer base name is cut.
constexpr std::size_t kLongestBaseName = 260;

constexpr char kEnglishSuffix[] = "en";

// Some of a language's variants have a library of their own.
struct Variant
{
    const char* name;
    const char* languageId; // as four hexadecimal digits; null stands for every other one
    const char* suffix;
};

constexpr Variant kVariants[] = {
    {"zh", "0404", "-CHT"},
    {"zh", "0804", "-CHS"},
    {"zh", nullptr, "-HK"},
    {"pt", "0416", "-BR"},
};

// Reads a text about a language (GetLocaleInfoA) into a buffer of `Size` characters. Nothing when that fails.
template <int Size>
std::optional<std::string> LocaleInfo(LANGID language, LCTYPE kind)
{
    char text[Size] = {};
    const int length = GetLocaleInfoA(MAKELCID(language, SORT_DEFAULT), kind, text, Size); // with the terminator
    if (length == 0)
        return std::nullopt;
    return std::string(text, static_cast<std::size_t>(length) - 1);
}

bool HasVariants(const std::string& name)
{
    for (const Variant& variant : kVariants)
    {
        if (name == variant.name)
            return true;
    }
    return false;
}

const char* VariantSuffix(LANGID language, const std::string& name)
{
    if (!HasVariants(name))
        return "";
    const auto languageId = LocaleInfo<5>(language, LOCALE_ILANGUAGE);
    if (!languageId)
        return "";
    for (const Variant& variant : kVariants)
    {
        if (name == variant.name && (variant.languageId == nullptr || *languageId == variant.languageId))
            return variant.suffix;
    }
    return "";
}

// The suffix of a language's library, such as "de" or "pt-BR". Nothing when it has no two-letter name.
std::optional<std::string> LanguageSuffix(LANGID language)
{
    auto name = LocaleInfo<3>(language, LOCALE_SISO639LANGNAME);
    if (!name)
        return std::nullopt;
    // Both forms of Norwegian share one library.
    if (*name == "nb" || *name == "nn")
        name = "no";
    return *name + VariantSuffix(language, *name);
}

// What a call wrote to a buffer of MAX_PATH characters: nothing when it failed, or when the path does not fit.
std::string WrittenPath(const char* buffer, DWORD length)
{
    return {buffer, length < MAX_PATH ? length : 0};
}

// The path of the program's own file; empty when it cannot be read.
std::string OwnPath()
{
    char path[MAX_PATH] = {};
    return WrittenPath(path, GetModuleFileNameA(nullptr, path, MAX_PATH));
}

// The program's own path up to its last period.
// Required: the period may be in a folder's name.
std::optional<std::string> OwnBaseName()
{
    const std::string path = OwnPath();
    const std::size_t period = path.rfind('.');
    if (period == std::string::npos)
        return std::nullopt;
    return path.substr(0, period);
}

// The folder of the program's own file, with a backslash at the end; empty when it cannot be read.
std::string OwnFolder()
{
    const std::string path = OwnPath();
    return path.substr(0, path.rfind('\\') + 1);
}

// The system folder, with a backslash at the end; empty when it cannot be read.
std::string SystemFolder()
{
    char path[MAX_PATH] = {};
    const std::string folder = WrittenPath(path, GetSystemDirectoryA(path, MAX_PATH));
    return folder.empty() ? folder : folder + "\\";
}

std::string CutBaseName(const char* baseName)
{
    return std::string(baseName, strnlen(baseName, kLongestBaseName));
}

HMODULE LoadFrom(const std::string& folder, const std::string& name)
{
    if (folder.empty())
        return nullptr;
    return LoadLibraryA((folder + name).c_str());
}

// A name without a folder is looked for beside the program and in the system folder only: ordinary users may be able to
// write to other folders of Windows' search order, which includes PATH.
HMODULE Load(const std::string& baseName, const std::string& suffix)
{
    const std::string name = baseName + "_" + suffix + ".dll";
    if (name.find('\\') != std::string::npos)
        return LoadLibraryA(name.c_str());
    if (const HMODULE library = LoadFrom(OwnFolder(), name))
        return library;
    return LoadFrom(SystemFolder(), name);
}

std::optional<std::string> BaseName(const char* baseName)
{
    if (baseName == nullptr)
        return OwnBaseName();
    return CutBaseName(baseName);
}

} // namespace

HMODULE LoadResourceLibrary(const char* baseName)
{
    const auto base = BaseName(baseName);
    if (!base)
        return nullptr;
    const auto suffix = LanguageSuffix(GetUiLanguage());
    if (!suffix)
        return nullptr;
    if (const HMODULE library = Load(*base, *suffix))
        return library;
    if (baseName != nullptr)
        return Load(*base, kEnglishSuffix);
    return Load("Internationalization", kEnglishSuffix);
}
