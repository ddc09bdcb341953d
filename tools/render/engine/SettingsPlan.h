#pragma once

#include "settings/SettingsDiagnosis.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tovix::render {

/// A change of settings in mid-file, as the command line asks for it.
struct TimedLines {
    double seconds = 0.0;
    std::vector<std::string> lines;
};

/// Where the settings come from. Names and lines are UTF-8.
struct SettingsChoice {
    /// A file of settings lines; empty for none.
    std::string fileName;
    /// Lines put over those of the file. Without either there are the default lines.
    std::vector<std::string> lines;
    std::vector<TimedLines> changes;
    /// Wants the previous effect unless the lines say whether they do.
    bool wantsPreviousEffect = false;
};

/// Settings text that the effect can act on, and what each of its lines does. [control]
class Settings {
public:
    /// Checks the text. Throws RenderError when it is longer than the effect takes, or when the effect can do nothing
    /// with one of its lines.
    explicit Settings(std::string_view text);

    [[nodiscard]] const std::vector<std::string>& lines() const noexcept { return m_lines; }
    /// The lines as the control application writes them into the settings page.
    [[nodiscard]] std::string text() const;
    /// One entry per line; the views in it are empty.
    [[nodiscard]] const std::vector<LineDiagnosis>& diagnoses() const noexcept { return m_diagnoses; }

    /// These settings with the lines of `arguments`, of which one may hold several, put over them as
    /// SettingsEdit::put does. Throws RenderError as the constructor does.
    [[nodiscard]] Settings with(const std::vector<std::string>& arguments) const;

private:
    std::vector<std::string> m_lines;
    std::vector<LineDiagnosis> m_diagnoses;
};

/// A change, checked; moments count from the beginning of the sound.
struct SettingsChange {
    double seconds = 0.0;
    Settings settings;
};

/// What is in force when.
struct SettingsPlan {
    Settings initial;
    /// In order of time.
    std::vector<SettingsChange> changes;
};

/// [control] Reads and checks the settings. Throws RenderError; also when the changes are not in order of time.
SettingsPlan planSettings(const SettingsChoice& choice);

} // namespace tovix::render
