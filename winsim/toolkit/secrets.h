// Passwords in a machine's description, which are never shown or written.
#pragma once

#include "winsim/base/json.h"

#include <string>
#include <string_view>
#include <vector>

namespace winsim
{

// The text with stars instead of each password. In installer data a password follows "/PASSWORD=" up to the next " /";
// in a command line it follows "/P:" in quotation marks. If a password contains another key, the rest of the password
// is that key's value in the command line, and is replaced too.
std::string HideSecrets(std::string_view text);

// The same for every text in a JSON value.
Json HideAllSecrets(const Json& value);

// The passwords in installer data.
std::vector<std::string> SecretsOf(std::string_view installerData);

} // namespace winsim
