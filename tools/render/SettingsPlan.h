#pragma once

#include "render/Options.h"
#include "settings/SettingsDiagnosis.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tovix::render {

/// Settings text that the effect can act on, and what each of its lines does.
class Settings {
public:
    /// Checks the lines. Throws RenderError when they are longer than the effect's block holds or when one of them
    /// builds nothing.
    explicit Settings(const std::vector<std::string>& lines);

    [[nodiscard]] const std::vector<std::string>& lines() const noexcept { return m_lines; }
    /// The lines as the control application writes them into the block.
    [[nodiscard]] std::string text() const;
    /// One entry per line; the views in it are empty.
    [[nodiscard]] const std::vector<LineDiagnosis>& diagnoses() const noexcept { return m_diagnoses; }

    /// These settings with `lines` put over them: lines of the same name, switched off or not, are replaced, the
    /// first of them where it stood; lines with a new name follow at the end.
    [[nodiscard]] Settings with(const std::vector<std::string>& lines) const;

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
