#pragma once

#include "install/MachinePlan.h"
#include "install/OutputDevices.h"

#include <string>

namespace tovix::install {

/// All are [control], read the machine and change nothing; they throw InstallRefusal.
///
/// A device's record is the difference between its effect properties with this effect and those that it would have
/// without. What has been changed since counts as what it would have, so that it is neither lost nor taken back.
/// Where this effect's class and the property that keeps the replaced one are both gone, a driver has rebuilt the
/// properties, and all that is there is what the device would have.

/// Puts this effect behind the device's mix, in the newest kind of effect key that the device uses: at the end of the
/// composite list, else in the single key, else in the legacy key; a device without any gets the single key. A class
/// whose place it takes is kept (`keptEffectKey`, an empty text where there is none). Adds the default processing
/// mode where the key has modes, and switches enhancements on, with a note. Nothing to do where it stands there
/// already.
MachinePlan planAttachment(const OutputDevice& device, const RegistryTree& registry, const ChangeJournal& journal);

/// Puts back what the device's record has. What somebody has changed since is left alone and named in a note, but for
/// this effect's class in it. Drops the record of a device that is gone.
MachinePlan planDetachment(const std::wstring& deviceId, const RegistryTree& registry, const ChangeJournal& journal);

/// Says what of a device that has a record is not as the attachment left it, and puts it right without losing what
/// there would be without this effect. Drops the record of a device that is gone.
MachinePlan planRepair(const std::wstring& deviceId, const RegistryTree& registry, const ChangeJournal& journal);

} // namespace tovix::install
