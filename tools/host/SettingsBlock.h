#pragma once

#include "exchange/SharedConfigMapping.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tovix::control {

/// The shared settings block from the control application's side. The block and the events live as long as any
/// process has them open, this object among them.
///
/// The update event is never waited on here: it is auto-reset, and a signal that this side took would be lost to an
/// effect.
class SettingsBlock {
public:
    /// The block that there is, to read and write; none when there is none. Throws a Refusal when it cannot be
    /// opened.
    static std::optional<SettingsBlock> open();

    /// The block that there is, or a new one with the effect's own security. Effects that wait for a new block are
    /// released first, one after the other, and have then written their own text into it: what is to be written has
    /// to come after. Throws a Refusal.
    static SettingsBlock openOrCreate();

    /// All bytes, as one copy.
    [[nodiscard]] std::string bytes() const;

    /// Writes the text, at most 255 bytes, with a NUL after it; then signals the update event once for each handle
    /// that others hold on it, because every effect of a process waits on the same event and a signal wakes but one.
    void write(std::string_view text);

    /// Handles that others hold on the block; none where the system does not tell.
    [[nodiscard]] std::optional<std::uint32_t> holders() const noexcept;

private:
    SettingsBlock() = default;

    void create(SECURITY_ATTRIBUTES* sa);
    void releaseWaiters();
    [[nodiscard]] bool awaitEffectsText() const;
    void copyIn(std::string_view text);

    SharedConfigMapping m_mapping;
    KernelHandle m_hUpdateEvent;
    KernelHandle m_hCreateEvent;
};

} // namespace tovix::control
