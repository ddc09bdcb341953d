#pragma once

#include "settings/SettingsChanges.h"

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace tovix::control {

/// What the world outside says at one moment.
struct Status {
    /// The block's bytes; none where there is no block.
    std::optional<std::string> block;
    /// Handles that others hold on the block; none where the system does not tell.
    std::optional<std::uint32_t> holders;
    /// The registry's values, as the effect reads them.
    std::uint32_t logLevel = 3;
    bool oldApo = false;
};

/// `bytes` as UTF-8, whatever they are: what is none becomes Latin-1.
std::string utf8Text(std::string_view bytes);

/// `text` in UTF-8 for a terminal: control characters, U+0080 to U+009F among them, become "\x1B".
std::string printable(std::string_view text);

/// Each line of the settings text with what it does, one a line and indented; "(no lines)" without any.
std::string describeLines(std::string_view block);

/// The lines of a change and, where a curve was thinned, a sentence on that; the notes are not in it.
std::string describeChange(const Change& change);

/// The same as data: "text", "lines", "notes" and, where a curve was thinned, "thinned" ("points",
/// "largestDeviationDb").
nlohmann::json changeData(const Change& change);

/// All of a status as text, ending in a line feed.
std::string describeStatus(const Status& status);

/// The same as data: "block" (null or "text", "bytes", "holders", "lines") and "registry" ("logLevel",
/// "enableOldApo").
nlohmann::json statusData(const Status& status);

/// The array of "lines": "line", "outcome", "explanation" and, where there are such, "boost" or "points".
nlohmann::json linesData(std::string_view block);

} // namespace tovix::control
