#include "install/Attachment.h"

#include "apo/RegistrationRecord.h"
#include "install/DeviceRecord.h"
#include "install/InstallRefusal.h"
#include "system/RegistryUtils.h"
#include "text/Utf.h"

#include <algorithm>
#include <utility>

namespace tovix::install {
namespace {

/// The device's name in quotes, in UTF-8.
std::string quoted(const OutputDevice& device) {
    return encodeUtf8(L'"' + device.fullName() + L'"');
}

const EffectKey& keyBehindTheMix(EffectKeyKind kind) {
    return *std::find_if(effectKeys.begin(), effectKeys.end(), [kind](const EffectKey& key) {
        return key.kind == kind && key.side == EffectSide::afterMix;
    });
}

[[noreturn]] void refuseType(const OutputDevice& device, std::wstring_view name) {
    throw InstallRefusal(Obstacle::foreignType, "The value \"" + encodeUtf8(name) + "\" of " + quoted(device) +
                                                    " has another type than it should have; nothing was done.");
}

/// Makes properties into those with this effect.
class Attaching {
public:
    Attaching(const OutputDevice& device, EffectProperties effects)
        : m_device(device), m_effects(std::move(effects)) {}

    EffectProperties run(std::vector<std::string>& notes) {
        requireKnownTypes();
        const EffectKeyKind kind = m_effects.usedKind().value_or(EffectKeyKind::single);
        const auto standing = m_effects.attachedRow();
        if (standing && standing->pKey->kind == kind) {
            addDefaultMode(*standing->pKey);
        } else {
            putInto(keyBehindTheMix(kind));
            addDefaultMode(keyBehindTheMix(kind));
        }
        if (m_effects.areEnhancementsOff()) {
            m_effects.set(enhancementsOffKey, numberData(0));
            notes.push_back("The enhancements of " + quoted(m_device) +
                            " are off, without which no effect runs; they are switched on until Tovix is detached.");
        }
        return std::move(m_effects);
    }

private:
    void requireType(std::wstring_view name, DWORD type) const {
        if (const auto data = m_effects.get(name);
            data && (data->type != type ||
                     (type == REG_DWORD ? data->bytes.size() != sizeof(DWORD) : !textsOf(*data).has_value()))) {
            refuseType(m_device, name);
        }
    }

    /// All effect keys count, as without each of them the kind that the device uses is not known.
    void requireKnownTypes() const {
        for (const EffectRow& row : m_effects.rows()) {
            if (!row.classes) {
                refuseType(m_device, row.pKey->key);
            }
        }
        requireType(enhancementsOffKey, REG_DWORD);
        requireType(keptEffectKey, REG_SZ);
    }

    void putInto(const EffectKey& key) {
        const auto data = m_effects.get(key.key);
        auto classes = data ? textsOf(*data).value() : std::vector<std::wstring>();
        std::wstring replaced;
        if (key.kind == EffectKeyKind::composite) {
            classes.push_back(classIdText(effectClassId));
            m_effects.set(key.key, listData(classes));
        } else {
            replaced = !classes.empty() && isClass(classes.front()) ? classes.front() : L"";
            m_effects.set(key.key, textData(classIdText(effectClassId)));
        }
        m_effects.set(keptEffectKey, textData(replaced));
    }

    void addDefaultMode(const EffectKey& key) {
        if (key.modesKey.empty()) {
            return;
        }
        requireType(key.modesKey, REG_MULTI_SZ);
        const auto data = m_effects.get(key.modesKey);
        auto modes = data ? textsOf(*data).value() : std::vector<std::wstring>();
        const std::wstring mode = classIdText(defaultProcessingMode);
        if (std::none_of(modes.begin(), modes.end(), [&](const auto& other) { return isSameText(other, mode); })) {
            modes.push_back(mode);
            m_effects.set(key.modesKey, listData(modes));
        }
    }

    const OutputDevice& m_device;
    EffectProperties m_effects;
};

/// A plan without sentences, and what it works on.
struct Renewal {
    MachinePlan plan;
    bool isRebuilt = false;
    std::vector<ValueChange> changes;
    EffectProperties after;
};

Renewal renew(const OutputDevice& device, const ChangeJournal& journal) {
    const std::wstring key = effectPropertiesKey(device.id);
    const ChangeRecord record = journal.find(device.id).value_or(ChangeRecord());
    Basis basis = basisOf(device.effects, record);
    switchBack(basis);
    Renewal renewal{.isRebuilt = basis.isRebuilt};
    renewal.after = Attaching(device, basis.effects).run(renewal.plan.notes);
    renewal.changes = device.effects.changesTo(renewal.after, key);
    Transaction& transaction = renewal.plan.transaction;
    if (!device.hasEffectProperties) {
        transaction.changes.emplace_back(KeyChange{.key = key});
    }
    transaction.changes.insert(transaction.changes.end(), renewal.changes.begin(), renewal.changes.end());
    auto renewed = recordOf(basis.effects, renewal.after, key, basis.ownsKey || !device.hasEffectProperties);
    if (renewed != record) {
        transaction.records.emplace(device.id, std::move(renewed));
    }
    return renewal;
}

/// What is not as it should be and what is done about it, from the change; empty for what needs no word of its own.
std::string findingOf(const ValueChange& change, const EffectProperties& after) {
    const std::string name = encodeUtf8(change.name);
    if (isSameText(change.name, enhancementsOffKey)) {
        return "enhancements are off: switched on";
    }
    for (const EffectRow& row : after.rows()) {
        if (isSameText(change.name, row.pKey->key) && row.holdsThisEffect()) {
            return "Tovix does not stand in " + name + ": put there";
        }
        if (isSameText(change.name, row.pKey->modesKey)) {
            return "the default processing mode is not in " + name + ": added";
        }
        if (isSameText(change.name, row.pKey->key)) {
            return "Tovix stands in " + name + ", which the device does not use: taken out";
        }
    }
    return isSameText(change.name, keptEffectKey) ? "" : "put back " + name;
}

MachinePlan dropRecord(const std::wstring& deviceId) {
    MachinePlan plan;
    plan.transaction.records.emplace(deviceId, std::nullopt);
    plan.notes.push_back("The device " + encodeUtf8(deviceId) +
                         " is gone, and what Tovix changed with it; its record is dropped.");
    return plan;
}

std::string placeOf(const EffectProperties& effects, const RegistryTree& registry) {
    const std::wstring kept = effects.keptClass();
    std::string place = "in " + encodeUtf8(effects.attachedRow()->pKey->key);
    if (!kept.empty()) {
        place += ", in place of " + encodeUtf8(kept) + " (" + describeRegistration(registry, kept) + ")";
    }
    return place;
}

/// What stays of the changes that a detachment would take back.
std::vector<std::string> notesOn(const OutputDevice& device, const Basis& basis) {
    if (basis.isRebuilt) {
        return {"The effect properties of " + quoted(device) +
                " have been rebuilt since, as a driver's installation does; what is there is left alone."};
    }
    std::vector<std::string> notes;
    for (const ValueChange& change : basis.changedSince) {
        if (isSameText(change.name, enhancementsOffKey) && device.effects.areEnhancementsOff()) {
            notes.push_back("The enhancements of " + quoted(device) +
                            " have been switched off since, by the engine after failures or by somebody; they stay "
                            "off. The sound settings of the device switch them on.");
            continue;
        }
        const bool held = device.effects.get(change.name) != basis.effects.get(change.name);
        notes.push_back("The value \"" + encodeUtf8(change.name) + "\" of " + quoted(device) +
                        " has been changed since; it is left alone" + (held ? " but for Tovix's class." : "."));
    }
    return notes;
}

} // namespace

MachinePlan planAttachment(const OutputDevice& device, const RegistryTree& registry, const ChangeJournal& journal) {
    Renewal renewal = renew(device, journal);
    const std::string place = placeOf(renewal.after, registry);
    renewal.plan.sentences.push_back(renewal.changes.empty()
                                         ? "Attached already to " + quoted(device) + ", " + place + "."
                                         : "Attach to " + quoted(device) + ", " + place + ".");
    return std::move(renewal.plan);
}

MachinePlan planDetachment(const std::wstring& deviceId, const RegistryTree& registry, const ChangeJournal& journal) {
    const auto device = readOutputDevice(registry, deviceId);
    const auto record = journal.find(deviceId);
    if (!device) {
        return record ? dropRecord(deviceId) : MachinePlan();
    }
    MachinePlan plan;
    const std::wstring key = effectPropertiesKey(deviceId);
    const Basis basis = basisOf(device->effects, record.value_or(ChangeRecord()));
    const auto changes = device->effects.changesTo(basis.effects, key);
    plan.transaction.changes.assign(changes.begin(), changes.end());
    if (basis.ownsKey && basis.effects.isEmpty() && device->hasEffectProperties) {
        plan.transaction.changes.emplace_back(KeyChange{.key = key, .comes = false});
    }
    if (record) {
        plan.transaction.records.emplace(deviceId, std::nullopt);
        plan.sentences.push_back("Detach from " + quoted(*device) + ".");
    }
    plan.notes = notesOn(*device, basis);
    if (const auto row = basis.effects.attachedRow()) {
        plan.notes.push_back("Tovix stands in " + encodeUtf8(row->pKey->key) + " of " + quoted(*device) +
                             ", where tovixctl has not put it; it is left there.");
    }
    return plan;
}

MachinePlan planRepair(const std::wstring& deviceId, const RegistryTree& registry, const ChangeJournal& journal) {
    const auto device = readOutputDevice(registry, deviceId);
    if (!device) {
        return dropRecord(deviceId);
    }
    Renewal renewal = renew(*device, journal);
    auto& sentences = renewal.plan.sentences;
    if (renewal.isRebuilt) {
        sentences.push_back("The effect properties of " + quoted(*device) +
                            " have been rebuilt, as a driver's installation does.");
    }
    for (const ValueChange& change : renewal.changes) {
        if (const auto finding = findingOf(change, renewal.after); !finding.empty()) {
            sentences.push_back(quoted(*device) + ": " + finding + ".");
        }
    }
    if (sentences.empty() && !renewal.plan.isEmpty()) {
        sentences.push_back(quoted(*device) + ": what would be there without Tovix is written down anew.");
    }
    return std::move(renewal.plan);
}

} // namespace tovix::install
