#pragma once

#include "keep/AutostartEntry.h"

#include <string>

namespace tovix::keep {

/// The entry that has `tovixctl keep` start with this user's session: the value "Tovix" of the current user's Run
/// key. [control], any thread; what the system refuses is a KeepRefusal (registryRefused).

struct Autostart {
    AutostartState state = AutostartState::off;
    /// The entry's text; empty where there is none, or none that is text.
    std::wstring entry;
};

/// What is there.
Autostart readAutostart();

/// Has this program start, in place of another copy of it. Another program's entry is left alone: a KeepRefusal
/// (foreignEntry).
void switchAutostartOn();

/// Removes the entry if it is this program's or a copy's, and returns what was there; another program's stays.
Autostart removeAutostart();

} // namespace tovix::keep
