#pragma once

#include "install/ChangeJournal.h"
#include "install/OutputDevices.h"

#include <string>
#include <vector>

namespace tovix::install {

/// What a command would do to devices: the changes with their records, and sentences for the user.
struct AttachmentPlan {
    Transaction transaction;
    std::vector<std::string> notes;
};

/// All are [control], read the machine and change nothing; they throw InstallRefusal.

/// Puts this effect behind the device's mix, in the newest kind of effect key that the device uses: at the end of the
/// composite list, else in the single key, else in the legacy key; a device without any gets the single key. A class
/// whose place it takes is kept (`keptEffectKey`). Adds the default processing mode where the key has modes, and
/// switches enhancements on, with a note. Nothing to do where it stands there already.
AttachmentPlan planAttachment(const OutputDevice& device, const RegistryTree& registry, const ChangeJournal& journal);

/// Puts back what the device's record has. What somebody has changed since is left alone and named in a note.
AttachmentPlan planDetachment(const std::wstring& deviceId, const RegistryTree& registry,
                              const ChangeJournal& journal);

/// What of a device that has a record is not as the attachment left it, one sentence each; and the plan that puts it
/// right without losing what was there before the attachment.
struct RepairPlan {
    std::vector<std::string> findings;
    AttachmentPlan plan;
};
RepairPlan planRepair(const std::wstring& deviceId, const RegistryTree& registry, const ChangeJournal& journal);

} // namespace tovix::install
