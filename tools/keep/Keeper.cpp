#include "keep/Keeper.h"

#include "curves/Refusal.h"
#include "host/ControllersTurn.h"
#include "keep/KeepRefusal.h"
#include "keep/SettingsFile.h"
#include "keep/UserFolder.h"
#include "keep/WholeFile.h"

#include <system_error>

namespace tovix::keep {
namespace {

KeepSteps::Time now() {
    return KeepSteps::Time(::GetTickCount64());
}

/// Renames the file, and returns its new name.
std::filesystem::path putAside(const std::filesystem::path& file) {
    auto aside = freeNameForRefused(file);
    std::error_code error;
    std::filesystem::rename(file, aside, error);
    if (error) {
        throw KeepRefusal(Obstacle::fileRefused, "\"" + textOfPath(file) +
                                                     "\" breaks the rules of the settings and cannot be put aside: " +
                                                     error.message() + ".");
    }
    return aside;
}

std::string readLast(const std::filesystem::path& file, const Keeper::Tell& tell) {
    try {
        const auto settings = readSettingsFile(file);
        return settings ? settings->text : std::string();
    } catch (const KeepRefusal&) {
        throw;
    } catch (const Refusal& refusal) {
        const auto aside = putAside(file);
        tell(refusal.what());
        tell("The file is kept as \"" + textOfPath(aside) + "\".");
        return {};
    }
}

} // namespace

Keeper::Keeper(std::filesystem::path file, Tell tell)
    : m_file(std::move(file)), m_tell(std::move(tell)), m_steps(readLast(m_file, m_tell)) {}

void Keeper::look() {
    if (!m_page) {
        takePage();
        return;
    }
    const auto text = m_page->text();
    switch (m_steps.look(text, now())) {
    case KeepSteps::Step::nothing:
        break;
    case KeepSteps::Step::bringBack:
        takePage();
        break;
    case KeepSteps::Step::writeDown:
        writeDown(text);
        break;
    }
}

void Keeper::tryFile() {
    static_cast<void>(hasWritten(m_steps.onDisk()));
}

void Keeper::finish() {
    if (!m_page) {
        return;
    }
    const auto text = m_page->text();
    if (m_steps.isOwed(text, now())) {
        writeDown(text);
    }
}

std::optional<std::string> Keeper::text() const {
    return m_page ? std::optional(m_page->text()) : std::nullopt;
}

/// The whole of the exchange happens in one turn, so that no command's text is taken for one that nobody has set. The
/// page that stays open is another: it has no handle on the events.
void Keeper::takePage() {
    try {
        if (!m_mayMakePage && !SettingsPage::open()) {
            return;
        }
        const ControllersTurn turn;
        auto page = SettingsPage::openOrCreate();
        if (m_steps.look(page.text(), now()) == KeepSteps::Step::bringBack) {
            bringBack(page);
        }
        m_page = SettingsPage::open();
        m_toldOfPage.clear();
    } catch (const SettingsPageUnavailable& unavailable) {
        // A right that is missing does not come.
        m_mayMakePage = unavailable.error() != ERROR_ACCESS_DENIED;
        tellOnce(m_toldOfPage, unavailable.what());
    }
}

void Keeper::bringBack(SettingsPage& page) {
    page.write(m_steps.onDisk());
    page.announce();
    m_steps.broughtBack(now());
    m_broughtBack = true;
}

void Keeper::writeDown(std::string_view text) {
    if (hasWritten(text)) {
        m_steps.wroteDown();
    } else {
        m_steps.failedToWrite(now());
    }
}

bool Keeper::hasWritten(std::string_view text) {
    try {
        writeSettingsFile(m_file, text);
        m_toldOfFile.clear();
        return true;
    } catch (const KeepRefusal& refusal) {
        tellOnce(m_toldOfFile, refusal.what());
        return false;
    }
}

void Keeper::tellOnce(std::string& told, const std::string& sentence) {
    if (told != sentence) {
        told = sentence;
        m_tell(sentence);
    }
}

} // namespace tovix::keep
