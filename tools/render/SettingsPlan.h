#pragma once

#include "render/Options.h"
#include "settings/SettingsDiagnosis.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tovix::render {

/// Settings text that the effect can act on, and what each of its lines does.
class Settings {
public:
    /// Checks the text. Throws RenderError when it is longer than the effect takes or when one of its lines builds
    /// nothing.
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

/// Reads the settings that the options name. Throws RenderError; also when the changes are not in order of time.
SettingsPlan planSettings(const Options& options);

} // namespace tovix::render
