// Prints the access list of an object as Windows tells it, a JSON object:
//   access_list file PATH
//   access_list key NAME          named as the security functions name keys, such as MACHINE\SOFTWARE\...
//
// Exit status: 0, or the Windows error.
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <cstdio>
#include <string>

namespace
{

void PrintEntry(ACL* list, DWORD index)
{
    void* found = nullptr;
    GetAce(list, index, &found);
    // The types that carry a mask and a SID all begin alike.
    auto* entry = static_cast<ACCESS_ALLOWED_ACE*>(found);
    wchar_t* sid = nullptr;
    ConvertSidToStringSidW(&entry->SidStart, &sid);
    std::printf("%s{\"type\": %d, \"flags\": %d, \"mask\": %lu, \"trustee\": \"%ls\"}", index > 0 ? ", " : "",
                entry->Header.AceType, entry->Header.AceFlags, entry->Mask, sid);
    LocalFree(sid);
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 3)
        return ERROR_INVALID_PARAMETER;
    const SE_OBJECT_TYPE type = std::wstring(argv[1]) == L"key" ? SE_REGISTRY_KEY : SE_FILE_OBJECT;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (const DWORD error = GetNamedSecurityInfoW(argv[2], type, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                                  nullptr, &descriptor))
        return static_cast<int>(error);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    GetSecurityDescriptorControl(descriptor, &control, &revision);
    std::printf("{\"protected\": %s, \"entries\": [", (control & SE_DACL_PROTECTED) != 0 ? "true" : "false");
    for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i)
        PrintEntry(list, i);
    std::printf("]}\n");
    LocalFree(descriptor);
    return 0;
}
