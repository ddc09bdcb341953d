#pragma once

#include "curves/Refusal.h"
#include "exchange/SharedConfigMapping.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tovix {

/// The system does not let this process have the settings page.
class SettingsPageUnavailable : public Refusal {
public:
    SettingsPageUnavailable(const std::string& what, DWORD error);

    /// The system's error code.
    [[nodiscard]] DWORD error() const noexcept { return m_error; }

private:
    DWORD m_error;
};

/// The settings page from the control application's side. The page and the events live as long as any process has
/// them open, this object among them. [control], one thread at a time.
///
/// The update event is never waited on here: it is auto-reset, and a signal that this side took would be lost to an
/// effect.
class SettingsPage {
public:
    /// The page that there is, to read; none when there is none. Throws SettingsPageUnavailable.
    static std::optional<SettingsPage> open();

    /// The page that there is, or a new one with the effect's own security, to read and to write. Effects that wait
    /// for a new page are released first, one after the other, and have then written their own text into it: what is
    /// to be written has to come after. Throws SettingsPageUnavailable.
    static SettingsPage openOrCreate();

    /// Whether another handle on the update event is open somewhere: an effect's, or a control program's. True where
    /// the system refuses to tell.
    static bool hasListeners() noexcept;

    /// The settings text, read at once: all bytes before the first NUL.
    [[nodiscard]] std::string text() const;

    /// Writes the text, at most 255 bytes, with a NUL after it, without signalling.
    void write(std::string_view text);

    /// Signals the update event for everybody else who has it open: once for each handle, because a signal wakes one
    /// waiter; the effects of a process share a handle and pass the signal on. Waits a moment for each signal to be
    /// taken and counts the handles again, so that the last one is not left out when an effect opens the event just
    /// then and takes a signal that was meant for another.
    void announce();

    /// Takes back a signal that nobody has taken.
    void withdrawSignal() noexcept;

    /// Whether the last signal has been taken. True where the system does not tell.
    [[nodiscard]] bool signalTaken() const noexcept;

    /// Handles that others hold on the page; none where the system does not tell.
    [[nodiscard]] std::optional<std::uint32_t> holders() const noexcept;

private:
    SettingsPage() = default;

    void create(SECURITY_ATTRIBUTES* sa);
    void releaseWaiters();
    [[nodiscard]] bool someWait(bool unknown) const noexcept;
    [[nodiscard]] bool awaitEffectsText() const;

    SharedConfigMapping m_mapping;
    /// Missing in a page that is only read.
    KernelHandle m_hUpdateEvent;
    KernelHandle m_hCreateEvent;
};

} // namespace tovix
