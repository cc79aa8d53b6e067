// Finds languages in the table.
#include "winsim/machine/languages.h"

#include <algorithm>
#include <iterator>

namespace winsim
{

const Language* FindLanguage(std::uint16_t id)
{
    const auto* const language = std::ranges::find(kLanguages, id, &Language::id);
    return language == std::end(kLanguages) ? nullptr : language;
}

} // namespace winsim
