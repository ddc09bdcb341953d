#pragma once

#include "host/SettingsPage.h"

#include <string>
#include <string_view>

namespace tovix::render {

/// The machine's settings page for the time of one render. There is one page for all effects, so there is one render
/// at a time; and the page gets the text back that it had before, with a signal for any effect that uses it, unless
/// somebody else has changed it meanwhile. [control]
class SettingsLoan {
public:
    /// Opens the page or creates it and writes the text without a signal. Throws RenderError when neither works, when
    /// another render is there, and when changes are to be announced but somebody listens already: a signal wakes one
    /// waiter, and that could be an effect outside of this render. Nothing has been changed then.
    SettingsLoan(std::string_view text, bool announces);
    SettingsLoan(const SettingsLoan&) = delete;
    SettingsLoan& operator=(const SettingsLoan&) = delete;
    ~SettingsLoan();

    /// Rewrites the text and signals.
    void announce(std::string_view text);

    /// Whether the last signal has been taken. True where the system does not tell.
    [[nodiscard]] bool announcementTaken() const noexcept { return m_page.signalTaken(); }

    /// The text as it stands.
    [[nodiscard]] std::string text() const { return m_page.text(); }

private:
    /// Its existence keeps other renders away.
    KernelHandle m_hRenderMutex;
    std::string m_textBefore;
    /// What this render wrote last.
    std::string m_ownText;
    SettingsPage m_page;
};

} // namespace tovix::render
