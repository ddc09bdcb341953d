#pragma once

#include "host/SettingsPage.h"
#include "keep/KeepSteps.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace tovix::keep {

/// Holds the settings page open, brings the last settings back and writes every change down. [control], one thread at
/// a time; throws nothing but std::bad_alloc once it is made.
///
/// It looks at the page and never holds the update event for longer than an announcement: whoever announces a change
/// sends a signal for each handle on that event.
class Keeper {
public:
    /// A sentence for the user, in UTF-8.
    using Tell = std::function<void(const std::string& sentence)>;

    /// Reads the last settings. A file that breaks a rule is told and put aside under another name; one that cannot
    /// be read, or not put aside, throws a KeepRefusal.
    Keeper(std::filesystem::path file, Tell tell);

    /// Makes the page or takes the one there is; looks at it, and acts.
    void look();

    /// Writes the same once more, and tells where it cannot: later nobody may be there to be told. Not before the
    /// first look, which sound may wait for.
    void tryFile();

    /// Writes down what is not written yet; for the end.
    void finish();

    /// Whether the page is held; without the right to make one it takes an effect, which makes it when sound plays.
    [[nodiscard]] bool holdsPage() const noexcept { return m_page.has_value(); }

    /// Whether the last settings have been brought back.
    [[nodiscard]] bool hasBroughtBack() const noexcept { return m_broughtBack; }

    /// The settings text; none without a page.
    [[nodiscard]] std::optional<std::string> text() const;

    [[nodiscard]] const std::filesystem::path& file() const noexcept { return m_file; }

private:
    void takePage();
    void bringBack(SettingsPage& page);
    void writeDown(std::string_view text);
    [[nodiscard]] bool hasWritten(std::string_view text);
    void tellOnce(std::string& told, const std::string& sentence);

    std::filesystem::path m_file;
    Tell m_tell;
    KeepSteps m_steps;
    /// Open to read.
    std::optional<SettingsPage> m_page;
    /// What stood in the way of the page and of the file when it was last told.
    std::string m_toldOfPage;
    std::string m_toldOfFile;
    bool m_mayMakePage = true;
    bool m_broughtBack = false;
};

} // namespace tovix::keep
