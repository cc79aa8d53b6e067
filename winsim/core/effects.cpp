// Applies the effects of described programs and libraries.
#include "winsim/core/effects.h"

#include <functional>
#include <utility>

namespace winsim
{

void ApplyEffects(Machine& machine, const Json& effects)
{
    if (effects.is_null())
        return;
    Json description = machine.ToJson();
    // A null in the effects takes away, and has to stay a null for what a plain machine has.
    description.merge_patch(effects);
    const std::function<void(const Json&, Json&)> keepNulls = [&](const Json& patch, Json& target) {
        for (const auto& [name, value] : patch.items())
        {
            if (value.is_null())
                target[name] = nullptr;
            else if (value.is_object() && target[name].is_object())
                keepNulls(value, target[name]);
        }
    };
    keepNulls(effects, description);
    Machine changed = Machine::FromJson(description);
    changed.files.KeepIdentities(machine.files);
    machine = std::move(changed);
}

} // namespace winsim
