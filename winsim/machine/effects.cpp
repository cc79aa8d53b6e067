// Applies the effects of described programs and libraries.
#include "winsim/machine/effects.h"

#include <utility>

namespace winsim
{

void ApplyEffects(Machine& machine, const Json& effects)
{
    if (effects.is_null())
        return;
    Machine changed = machine.With(effects);
    changed.files.KeepIdentities(machine.files);
    changed.registry.KeepIdentities(machine.registry);
    machine = std::move(changed);
}

} // namespace winsim
