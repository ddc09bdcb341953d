#pragma once

#include "exchange/SharedConfigMapping.h"
#include "system/WinHandles.h"

#include <optional>
#include <string>
#include <string_view>

namespace tovix::render {

/// The control application's part for one render: the settings block, held open, and its update event. The system has
/// one of each for all effects, so there is one host at a time; and a block that was there before gets its text back
/// at the end, with a signal for whoever plays by it, unless somebody else has changed it meanwhile. [control]
class HostSettings {
public:
    /// Opens the block or creates it, with the effect's own security, and writes the text without a signal. Throws
    /// RenderError when neither works, when another host is there, and when changes are to be announced but somebody
    /// has the event open: a signal wakes one waiter, and that could be an effect outside of this render. Nothing has
    /// been changed then.
    HostSettings(std::string_view text, bool announces);
    HostSettings(const HostSettings&) = delete;
    HostSettings& operator=(const HostSettings&) = delete;
    ~HostSettings();

    /// Rewrites the text and signals once, for one effect.
    void announce(std::string_view text);

    /// Whether the last signal has been taken. True where the system does not tell.
    [[nodiscard]] bool announcementTaken() const noexcept;

    /// The text as it stands, up to its first NUL.
    [[nodiscard]] std::string text() const;

private:
    void openBlock(SECURITY_ATTRIBUTES* sa);
    void write(std::string_view text);
    void signalAllOthers() noexcept;

    /// Its existence keeps other hosts away.
    KernelHandle m_hHostMutex;
    SharedConfigMapping m_mapping;
    KernelHandle m_hUpdateEvent;
    /// What the block held before.
    std::optional<std::string> m_textBefore;
    /// What this host wrote last.
    std::string m_ownText;
};

} // namespace tovix::render
