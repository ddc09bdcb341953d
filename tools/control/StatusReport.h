#pragma once

#include "keep/AutostartEntry.h"
#include "settings/SettingsChanges.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tovix::control {

/// What tovixctl says, as text and as data. [control], on the program's only thread.

/// The state of the system at one moment.
struct Status {
    /// The settings text; none where there is no settings page.
    std::optional<std::string> text;
    /// Handles that others hold on the page; none where the system does not say.
    std::optional<std::uint32_t> holders;
    /// The registry's values, as the effect reads them.
    std::uint32_t logLevel = 0;
    bool previousEffect = false;
    /// Whether a `tovixctl keep` of this session writes the settings down.
    bool kept = false;
    /// Files of last settings that broke a rule and are kept aside.
    std::vector<std::string> refusedFiles;
    /// What starts with the user's session, and the entry's text.
    keep::AutostartState autostart = keep::AutostartState::off;
    std::string autostartEntry;
};

/// The lines of a change and, where a curve was thinned, a sentence on that; the notes are not in it.
std::string describeChange(const ChangedSettings& change);

/// The same as data: "settings", "notes" and, where a curve was thinned, "thinned" ("pointCount", "deviationDb").
nlohmann::ordered_json changeData(const ChangedSettings& change);

/// All of a status as text, ending in a line feed.
std::string describeStatus(const Status& status);

/// The autostart entry in one line, ending in a line feed.
std::string describeAutostart(keep::AutostartState state, const std::string& entry);

/// The same as data: "state" ("off", "on", "otherCopy", "foreign") and "entry".
nlohmann::ordered_json autostartData(keep::AutostartState state, const std::string& entry);

/// A status as data: "settings" (null where there is no page, "holders" added) and "registry" ("logLevel",
/// "enableOldApo"), "kept", "refusedFiles" and "autostart" ("state", "entry").
nlohmann::ordered_json statusData(const Status& status);

} // namespace tovix::control
