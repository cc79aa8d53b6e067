// The access rights of the toolkit's policy directory and configuration file.
#pragma once

// Both objects lie in the common application data folder (SHGetSpecialFolderPathW). Each gets a protected access
// list in place of its own: nothing is inherited any more, administrators, LocalSystem and Network Service have
// full access. 1 when the list was replaced (SetNamedSecurityInfoW), 0 when not, also after an exception. Both log the
// success, or the one failure that ended them.

// "Kelo Systems Corp\Common\policies", made with its missing parents when it is not there. Users may read.
int SetPolicyDirectoryAccess();

// "Kelo Systems Corp\Common\Kelo_Config.ini", made empty when it is not there but its directory is. Users have
// full access.
int SetConfigFileAccess();
