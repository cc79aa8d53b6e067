// The TCG software stacks by name.
#pragma once

// Vendor identifiers (ANSI). The last names the same stack as the second and is only known to detection.
inline constexpr char kKeloVendor[] = "KELO";
inline constexpr char kNtru12Vendor[] = "NTRU12";
inline constexpr char kNtruVendor[] = "NTRU";

// What the toolkit's service calls the vendors (UTF-16).
inline constexpr wchar_t kKeloServiceVendor[] = L"KELO";
inline constexpr wchar_t kNtruServiceVendor[] = L"NTRU";
inline constexpr wchar_t kIfxServiceVendor[] = L"IFX";

// Windows services: the stacks' own, and the TPM Base Services, which the stacks and Windows share.
inline constexpr wchar_t kKeloService[] = L"tcsd_x86";
inline constexpr wchar_t kNtruService[] = L"tcsd_win32.exe";
inline constexpr wchar_t kIfxService[] = L"IFXTCS";
inline constexpr wchar_t kTbsService[] = L"TBS";
