#pragma once

#include "install/EffectProperties.h"
#include "install/MachineChange.h"

#include <string>
#include <vector>

namespace tovix::install {

/// What a device's properties would be without this effect, as far as its record and what is there tell.
struct Basis {
    EffectProperties effects;
    /// Neither this effect's class nor what the attachment has kept is there any more.
    bool isRebuilt = false;
    /// The key of the properties is the attachment's.
    bool ownsKey = false;
    /// What the record has and somebody has changed since.
    std::vector<ValueChange> changedSince;
};

/// All are [control].

/// Without a record the properties as they are.
Basis basisOf(const EffectProperties& effects, const ChangeRecord& record);

/// Where enhancements have been switched off since, takes that out of the basis: the engine does so when an effect
/// fails, and without this effect they would be as they were.
void switchBack(Basis& basis);

/// The record of an attachment. What switches enhancements off is in it even where it is not changed, because the
/// engine may change it. `withKey` where the key is the attachment's.
ChangeRecord recordOf(const EffectProperties& before, const EffectProperties& after, const std::wstring& key,
                      bool withKey);

} // namespace tovix::install
