// FindChoices: finds the choices for this run on the command line, in the registry or in the package.
#include "session.h"

#include <windows.h>

namespace
{

// The package stores the choices of each run here, under the properties' names. Only administrators can change them.
constexpr wchar_t kChoicesKey[] = L"SOFTWARE\\Kelo Systems Corp\\Common\\Choices";

// No command line sets a property with lower-case letters in its name.
struct Choice
{
    const wchar_t* property;
    bool isOnCommandLine;
    const wchar_t* valueOfPackage; // the property with the package's own choice; some have none
};

constexpr Choice kChoices[] = {
    {L"TSS_VENDOR", true, L"KeloTssVendor"},
    {L"TPM_VSC", true, nullptr},
    {L"TPM_WIN8", true, nullptr},
    {L"ProductType", false, nullptr},
};

void ReadRemembered(const wchar_t* name, PropertyText& value)
{
    DWORD bytes = PropertyText::kCharacters * sizeof(wchar_t);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kChoicesKey, name, RRF_RT_REG_SZ, nullptr, value.Buffer(), &bytes) !=
        ERROR_SUCCESS)
        value.Clear();
}

// Whether the command line is ignored: a removal must undo what was set up, and a user without administrator's rights
// may repair a product, but not with other choices.
bool IsCommandLineRefused(MSIHANDLE session)
{
    return HasProperty(session, L"REMOVE") ||
           (HasProperty(session, L"Installed") && HasProperty(session, L"RestrictedUserControl"));
}

} // namespace

// An immediate action of the execute sequence, which runs where users have no access. Sets the property of each choice
// to the first value that there is: on the command line, unless that is ignored; in the registry, unless
// KELO_FORGET_CHOICES has a value; in the package. Clears the password if the command line is ignored. Returns
//     ERROR_SUCCESS
//     ERROR_INSTALL_FAILURE   a value is too long
extern "C" __declspec(dllexport) UINT WINAPI FindChoices(MSIHANDLE session)
{
    const bool isRefused = IsCommandLineRefused(session);
    const bool isForgotten = !isRefused && HasProperty(session, L"KELO_FORGET_CHOICES");
    for (const Choice& choice : kChoices)
    {
        PropertyText value;
        if (!(isRefused && choice.isOnCommandLine) && !ReadProperty(session, choice.property, value))
            return Refuse(session, L"A property of the command line is too long.");
        if (value.IsEmpty() && !isForgotten)
            ReadRemembered(choice.property, value);
        if (value.IsEmpty() && choice.valueOfPackage != nullptr && !ReadProperty(session, choice.valueOfPackage, value))
            return Refuse(session, L"A property of the package is too long.");
        MsiSetPropertyW(session, choice.property, value.Get());
    }
    if (isRefused)
        MsiSetPropertyW(session, L"TPM_OWNER_PASSWORD", nullptr);
    return ERROR_SUCCESS;
}
