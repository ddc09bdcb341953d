#pragma once

#include "system/WinHandles.h"

namespace tovix {

/// The update event of an ApoConfigManager. The managers of a module share one handle on the named event, which the
/// last of them closes: a control program sends one signal for each handle that it counts, and SignalRelay brings one
/// signal to all managers of a module. All [control], any thread.
struct GiveBackUpdateEvent {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept;
};
using UpdateEvent = std::unique_ptr<void, GiveBackUpdateEvent>;

/// A hold on the module's handle on the named event, which it opens or creates if it has none. Null on failure, whose
/// reason is the last error. `sa` may be null.
UpdateEvent openUpdateEvent(SECURITY_ATTRIBUTES* sa) noexcept;

/// An unnamed event of its own, for where the named one cannot be had; null on failure.
UpdateEvent makeUnnamedUpdateEvent() noexcept;

} // namespace tovix
