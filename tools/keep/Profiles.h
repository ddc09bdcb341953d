#pragma once

#include "settings/SettingsChanges.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tovix::keep {

/// Settings under names, one file each in a folder of the user's. Every name is checked first (checkProfileName) and
/// finds its profile whatever the case of its letters. [control], one thread at a time; throws a Refusal where a rule
/// is broken, a KeepRefusal where a profile is missing or the system refuses.
class Profiles {
public:
    explicit Profiles(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    /// Saves `text` under `name`, also over a profile that has this very name; true where there was one. A text that
    /// breaks a rule of the settings, and a name that differs from that of another profile in case alone, are
    /// refused.
    bool save(const std::string& name, std::string_view text);

    /// The profile's text, ready to be written into the settings page.
    [[nodiscard]] ChangedSettings load(const std::string& name) const;

    /// Removes the profile.
    void remove(const std::string& name);

    /// All names, in the order of their characters.
    [[nodiscard]] std::vector<std::string> names() const;

    /// The file of that profile.
    [[nodiscard]] std::filesystem::path file(const std::string& name) const;

private:
    /// The name under which `name` is stored; empty where it is not.
    [[nodiscard]] std::string storedName(const std::string& name) const;
    [[nodiscard]] std::filesystem::path existingFile(const std::string& name) const;

    std::filesystem::path m_folder;
};

} // namespace tovix::keep
