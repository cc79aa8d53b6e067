// Passwords that a machine's description holds: what is kept out of everything that is shown or written.
#pragma once

#include "winsim/base/json.h"

#include <string>
#include <string_view>
#include <vector>

namespace winsim
{

// The text with stars in place of each password: what follows "/PASSWORD=" up to the next " /", as installer data
// carries it, and what follows "/P:" in quotation marks, as a command line does. A password that holds another key
// gives that key's value in the command line too: stars as well.
std::string HideSecrets(std::string_view text);

// The same for every text in a value.
Json HideAllSecrets(const Json& value);

// The passwords that installer data carries.
std::vector<std::string> SecretsOf(std::string_view installerData);

} // namespace winsim
