#include "install/DeviceRecord.h"

#include <algorithm>

namespace tovix::install {
namespace {

/// What stands under an effect key that has been changed since, without this effect's class.
std::optional<RegistryData> withoutThisEffect(const ValueChange& change, const EffectProperties& effects) {
    for (const EffectRow& row : effects.rows()) {
        if (isSameText(change.name, row.pKey->key) && row.holdsThisEffect()) {
            auto classes = *row.classes;
            std::erase_if(classes, isThisEffect);
            return classes.empty() ? change.before : listData(classes);
        }
    }
    return effects.get(change.name);
}

bool isRebuilt(const EffectProperties& effects, const ChangeRecord& record) {
    return !effects.attachedRow() && std::none_of(record.begin(), record.end(), [&](const MachineChange& change) {
        const auto* const pValue = std::get_if<ValueChange>(&change);
        return pValue != nullptr && isSameText(pValue->name, keptEffectKey) &&
               effects.get(pValue->name) == pValue->after;
    });
}

} // namespace

Basis basisOf(const EffectProperties& effects, const ChangeRecord& record) {
    Basis basis{.effects = effects, .isRebuilt = !record.empty() && isRebuilt(effects, record)};
    for (const MachineChange& change : basis.isRebuilt ? ChangeRecord() : record) {
        const auto* const pValue = std::get_if<ValueChange>(&change);
        if (pValue == nullptr) {
            basis.ownsKey = true;
            continue;
        }
        const auto data = effects.get(pValue->name);
        if (data == pValue->after) {
            basis.effects.set(pValue->name, pValue->before);
        } else if (data != pValue->before) {
            basis.effects.set(pValue->name, withoutThisEffect(*pValue, effects));
            basis.changedSince.push_back(*pValue);
        }
    }
    return basis;
}

void switchBack(Basis& basis) {
    for (const ValueChange& change : basis.changedSince) {
        if (isSameText(change.name, enhancementsOffKey) && basis.effects.areEnhancementsOff()) {
            basis.effects.set(change.name, change.before);
        }
    }
}

ChangeRecord recordOf(const EffectProperties& before, const EffectProperties& after, const std::wstring& key,
                      bool withKey) {
    const auto values = before.changesTo(after, key);
    ChangeRecord record(values.begin(), values.end());
    if (const auto off = before.get(enhancementsOffKey); !record.empty() && off == after.get(enhancementsOffKey)) {
        record.emplace_back(ValueChange{.key = key, .name = enhancementsOffKey, .before = off, .after = off});
    }
    if (withKey) {
        record.insert(record.begin(), KeyChange{.key = key});
    }
    return record;
}

} // namespace tovix::install
