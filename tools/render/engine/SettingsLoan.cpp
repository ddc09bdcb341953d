#include "render/engine/SettingsLoan.h"

#include "exchange/SecurityHelper.h"
#include "host/ControllersTurn.h"
#include "host/SystemQueries.h"
#include "render/files/ProgramEnd.h"

namespace tovix::render {
namespace {

KernelHandle claimRenderMutex(bool announces) {
    static_cast<void>(EnableCreateGlobalPrivilege(::GetCurrentProcess()));
    const GlobalObjectSecurity security;
    KernelHandle mutex(::CreateMutexW(security.attributes(), FALSE, L"Global\\TovixRenderHost"));
    const DWORD error = ::GetLastError();
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_ACCESS_DENIED) {
        throw RenderError(ExitStatus::failure, "another render is running, and the effect has one set of settings.");
    }
    if (!mutex) {
        throw RenderError(ExitStatus::failure, "the settings page cannot be claimed: " + describeSystemError(error) +
                                                   "; --core does without.");
    }
    if (announces && SettingsPage::hasListeners()) {
        throw RenderError(
            ExitStatus::failure,
            "another program has the effect's settings open, and an effect outside of this render could "
            "take the change of --at; --core does without them.");
    }
    return mutex;
}

/// The page with `text` written into it; what was there before goes into `textBefore`.
SettingsPage borrowPage(std::string_view text, std::string& textBefore) {
    try {
        const ControllersTurn turn;
        SettingsPage page = SettingsPage::openOrCreate();
        textBefore = page.text();
        page.write(text);
        // A signal of an earlier user would make the effect build its first chain twice.
        page.withdrawSignal();
        return page;
    } catch (const SettingsPageUnavailable& unavailable) {
        throw RenderError(ExitStatus::failure, std::string(unavailable.what()) + " --core does without it.");
    }
}

} // namespace

SettingsLoan::SettingsLoan(std::string_view text, bool announces)
    : m_hRenderMutex(claimRenderMutex(announces)), m_ownText(text), m_page(borrowPage(text, m_textBefore)) {}

SettingsLoan::~SettingsLoan() {
    const ControllersTurn turn;
    // Text and signal of somebody else's change stand.
    if (m_page.text() == m_ownText) {
        m_page.write(m_textBefore);
        m_page.announce();
    }
}

void SettingsLoan::announce(std::string_view text) {
    m_page.write(text);
    m_ownText = text;
    m_page.announce();
}

} // namespace tovix::render
