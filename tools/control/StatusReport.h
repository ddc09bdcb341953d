#pragma once

#include "settings/SettingsChanges.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>

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
};

/// The lines of a change and, where a curve was thinned, a sentence on that; the notes are not in it.
std::string describeChange(const ChangedSettings& change);

/// The same as data: "settings", "notes" and, where a curve was thinned, "thinned" ("pointCount", "deviationDb").
nlohmann::ordered_json changeData(const ChangedSettings& change);

/// All of a status as text, ending in a line feed.
std::string describeStatus(const Status& status);

/// The same as data: "settings" (null where there is no page, "holders" added) and "registry" ("logLevel",
/// "enableOldApo").
nlohmann::ordered_json statusData(const Status& status);

} // namespace tovix::control
