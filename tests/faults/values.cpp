// Lists the values that failures can leave.
#include "tests/faults/values.h"

#include "winsim/toolkit/install_log.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace
{

using winsim::Change;
using winsim::Json;

// The values that a failure can leave in a thing or a part of it, although they exist neither before a run nor after a
// run without failures.
struct FailedValue
{
    const char* reason;
    const char* area;
    std::vector<const char*> items;
    const char* part;                // JSON pointer; "" for the whole thing
    std::vector<const char*> values; // JSON; a final "*" stands for any ending; empty: any value
};

constexpr char kInstallerKey[] = R"(HKLM\SOFTWARE\Kelo Systems Corp.\Installer)";
constexpr char kInstallerText[] = R"(HKLM\SOFTWARE\Kelo Systems Corp.\Installer [(default)])";
constexpr char kOwnedByAdministrators[] = R"({"owner": "S-1-5-32-544"})";

const std::vector<FailedValue> kFailedValues = {
    FailedValue("the key for the text that tells what went wrong", "registry",
                {R"(HKLM\SOFTWARE\Kelo Systems Corp.)", kInstallerKey}, "", {kOwnedByAdministrators}),
    FailedValue("that text: one for each result, and none when it is not found", "registry", {kInstallerText}, "",
                {R"("")", R"("The TPM is not enabled and activated, or the library *")",
                 R"("The TPM detection library lacks a function *")", R"("The installation failed with code *")",
                 R"("The registry key for the settings of the cryptographic provider *")",
                 R"("The setting of the cryptographic provider *")"}),
    FailedValue("the provider of a Windows whose version cannot be told", "registry",
                {R"(HKLM\SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent\CAPI [PassthroughCSP])"}, "",
                {R"("Microsoft Enhanced Cryptographic Provider v1.0")"}),
    FailedValue("one of the two providers cannot be registered", "cng", {"contextFunctions"}, "/0/providers",
                {R"(["Microsoft Software Key Storage Provider", "Microsoft Smart Card Key Storage Provider",
          "Microsoft Platform Crypto Provider", "Kelo TCG Enabled KSP"])",
                 R"(["Microsoft Software Key Storage Provider", "Microsoft Smart Card Key Storage Provider",
          "Microsoft Platform Crypto Provider", "Kelo TCG-Enabled Strong Authentication KSP"])"}),
    FailedValue("what a TPM in a wrong state leaves for the administrator", "events", {"#1"}, "",
                {R"({"source": "Kelo Platform Security", "type": 1, "category": 2, "id": 1018, "strings":
          ["The TPM is in an incorrect state. The TPM must be reset to support use by Kelo Software"]})"}),
    FailedValue(
        "without the application data folder, the paths below it begin at the root of the current drive", "files",
        {R"(C:\Kelo Systems Corp)", R"(C:\Kelo Systems Corp\Common)", R"(C:\Kelo Systems Corp\Common\policies)"}, "",
        {R"({"directory": true, "owner": "S-1-5-32-544"})",
         R"({"directory": true, "owner": "S-1-5-32-544", "access": [
          {"trustee": "S-1-5-32-545", "mask": 1179785, "inheritance": 3, "type": "allow"},
          {"trustee": "S-1-5-32-544", "mask": 2032127, "inheritance": 3, "type": "allow"},
          {"trustee": "S-1-5-18", "mask": 2032127, "inheritance": 3, "type": "allow"},
          {"trustee": "S-1-5-20", "mask": 2032127, "inheritance": 3, "type": "allow"}], "protected": true})"}),
    FailedValue("another stack is chosen: its shim goes, or is put there", "files",
                {R"(C:\Windows\system32\TSP1_x64.dll)", R"(C:\Windows\system32\TSPI_x64.dll)",
                 R"(C:\Windows\system32\stkprobe.dll)"},
                "", {"null", kOwnedByAdministrators}),
    FailedValue("without a system folder that can be named, the shim is put at the drive's root", "files",
                {R"(C:\TSP1_x64.dll)", R"(C:\TSPI_x64.dll)"}, "", {kOwnedByAdministrators}),
    FailedValue("a detection library in use that was put aside", "files", {R"(C:\Windows\system32\stkprobe.bk1)"}, "",
                {R"({"inUse": true})"}),
    FailedValue("the copy that is kept of a shim that could not be deleted", "files",
                {R"(C:\Windows\system32\Tsp1.bak)", R"(C:\Windows\system32\Tspi.bak)"}, "",
                {R"({"text": "an older shim"})"}),
    FailedValue("the detection library that was put aside, or that of the other stack", "libraries",
                {R"(C:\Windows\system32\stkprobe.bk1)", R"(C:\Windows\system32\stkprobe.dll)"}, "", {}),
    FailedValue("the service of another stack is what the toolkit's depends on", "services", {"KlPCR"}, "/dependencies",
                {R"(["tcsd_win32.exe", "RPCSS"])", R"(["tcsd_win32.exe", "TBS", "RPCSS"])", R"(["tcsd_x86", "RPCSS"])",
                 R"(["tcsd_x86", "TBS", "RPCSS"])"}),
    FailedValue("the toolkit's service as its own program registers it", "services", {"KlPCR"}, "/start",
                {R"("demand")"}),
    FailedValue("the toolkit's service, where it is not set up unless the detection library finds another stack",
                "services", {"KlPCR"}, "/start", {R"("auto")"}),
    FailedValue("its description then", "services", {"KlPCR"}, "/description", {R"("Kelo Toolkit Service")"}),
    FailedValue("its group then", "services", {"KlPCR"}, "/loadOrderGroup", {R"("SmartcardGroup")"}),
    FailedValue("its program then", "services", {"KlPCR"}, "/binaryPath",
                {R"("\"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\KlPCR.exe\" -Service")"}),
    FailedValue("the services of smart cards, when it cannot be asked whether a card is there", "services",
                {"CertPropSvc", "SCardSvr"}, "/start", {R"("auto")"}),
    FailedValue("a service that is not waited for, or that is stopped and not deleted or not started again", "services",
                {"KlPCR", "CertPropSvc", "SCardSvr", "TBS", "tcsd_win32.exe", "tcsd_x86"}, "/state",
                {R"("startPending")", R"("running")", R"("stopPending")", R"("stopped")"}),
    FailedValue("what such a service goes on to", "services", {"KlPCR", "TBS", "tcsd_win32.exe"}, "/states", {}),
    FailedValue("and how long it says that this takes", "services", {"tcsd_win32.exe"}, "/waitHint", {"4000"}),
    FailedValue("how the service's program starts", "services", {"KlPCR"}, "/onStart",
                {R"({"states": [{"afterMs": 0, "state": "running"}]})"}),
    FailedValue("a service that does not stop goes when it does", "services", {"KlPCR"}, "/markedForDeletion",
                {"true"}),
    FailedValue("a list of rights that has got its owner and not its rights", "registry",
                {R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)"}, "/owner", {R"("S-1-5-32-544")"}),
    FailedValue("a privilege that ends with the process", "token", {"enabled"}, "",
                {R"(["SeChangeNotifyPrivilege", "SeImpersonatePrivilege", "SeTakeOwnershipPrivilege"])"}),
};

bool Fits(const Json& value, const Json& allowed)
{
    const std::string text = allowed.is_string() ? allowed.get<std::string>() : std::string();
    if (value.is_string() && text.ends_with('*'))
        return value.get<std::string>().starts_with(text.substr(0, text.size() - 1));
    return value == allowed;
}

// Whether a failure can leave this value in a part of a thing.
bool IsLeftByFailure(const Change& change, const std::string& part, const Json& value)
{
    return std::ranges::any_of(kFailedValues, [&](const FailedValue& failed) {
        return failed.area == change.area && failed.part == part &&
               std::ranges::find(failed.items, change.item) != failed.items.end() &&
               (failed.values.empty() ||
                std::ranges::any_of(failed.values, [&](const char* json) { return Fits(value, Json::parse(json)); }));
    });
}

bool HasParts(const Json& value)
{
    return value.is_object() || (value.is_array() && !value.empty() && value.front().is_object());
}

// A member of an object or an element of a list, by its name or number; null if there is none.
Json PartOf(const Json& whole, const std::string& name)
{
    for (const auto& [partName, part] : whole.items())
    {
        if (HasParts(whole) && partName == name)
            return part;
    }
    return {};
}

// Whether a part of a changed thing, or each part of it, has one of two values or one that a failure leaves.
bool IsAllowed(const Change& change, const std::string& part, const Json& value, const Json& one, const Json& other)
{
    if (value == one || value == other || IsLeftByFailure(change, part, value))
        return true;
    if (!HasParts(value))
        return false;
    std::set<std::string> names;
    for (const Json* whole : {&value, &one, &other})
    {
        for (const auto& [name, unused] : whole->items())
            names.insert(name);
    }
    return std::ranges::all_of(names, [&](const std::string& name) {
        return IsAllowed(change, part + "/" + name, PartOf(value, name), PartOf(one, name), PartOf(other, name));
    });
}

bool HasGrown(const Json& log, const Json& before)
{
    return log.value("text", "").starts_with(before.is_object() ? before.value("text", "") : "");
}

Json WithoutText(Json file)
{
    if (file.is_object())
        file.erase("text");
    return file;
}

} // namespace

bool IsAllowedValue(const Change& change, const Json& usual)
{
    if (change.area == "files" && winsim::IsInstallLog(change.item))
        return HasGrown(change.after, change.before) &&
               IsAllowed(change, "", WithoutText(change.after), WithoutText(change.before), WithoutText(usual));
    return IsAllowed(change, "", change.after, change.before, usual);
}
