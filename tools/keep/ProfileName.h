#pragma once

#include <string_view>

namespace tovix::keep {

/// What may be the name of a profile. [control], any thread.

/// Throws a Refusal unless `name` (UTF-8) names a file on every system: no separators of paths and no other character
/// that a file name cannot have, no name of a device, no blank or dot at its ends, 1 to 60 characters.
void checkProfileName(std::string_view name);

/// Whether two names differ in nothing but the case of ASCII letters, or not at all.
bool sameButForCase(std::string_view a, std::string_view b);

} // namespace tovix::keep
