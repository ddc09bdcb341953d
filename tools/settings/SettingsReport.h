#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

namespace tovix {

/// A settings text told to people and to programs, the same in all tools. [control], any thread.

/// `bytes` as UTF-8, whatever they are: what is not UTF-8 is read as Latin-1.
std::string utf8Text(std::string_view bytes);

/// `text` in UTF-8 for a terminal: control characters, U+0080 to U+009F among them, become "\x1B".
std::string printable(std::string_view text);

/// Each line of the settings text with what it does, one a line and indented; "(no lines)" without any.
std::string describeLines(std::string_view text);

/// What the lines that do something do, in one line; "nothing" without such lines.
std::string summarizeLines(std::string_view text);

/// The lines as data: "text", "bytes" (its length) and "lines", of which each has "line", "outcome", "explanation"
/// and, where there are such, "boost" ("levelDb", "limiter"), "maximizer" ("levelDb", "ceilingDb") or "points"
/// ("frequencyHz", "gainDb").
///
/// All JSON of the tools has its names in camel case, with the unit at the end where there is one.
nlohmann::ordered_json settingsData(std::string_view text);

} // namespace tovix
