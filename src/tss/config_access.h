// The access rights of the toolkit's policy directory and configuration file.
#pragma once

// Both objects lie in the common application data folder (SHGetSpecialFolderPathW). Each gets a protected access list
// in place of its own (SetNamedSecurityInfoW): it inherits nothing, and administrators, LocalSystem and Network Service
// have full access. Both functions log their success or the failure that ended them.
// Return  1  the list was replaced
//         0  it was not, or an exception was caught

// The directory "Kelo Systems Corp\Common\policies", made with its parents when it is missing. Users may read.
int SetPolicyDirectoryAccess();

// The file "Kelo Systems Corp\Common\Kelo_Config.ini", made empty when it is missing but its directory exists. Users
// have full access.
int SetConfigFileAccess();
