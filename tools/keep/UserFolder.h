#pragma once

#include <filesystem>
#include <vector>

namespace tovix::keep {

/// Where this user's files are, in the folder that Windows roams and backs up for programs' settings. [control], any
/// thread; throws a KeepRefusal (fileRefused) where the user has no such folder. Nothing is created.

/// One file for each profile.
std::filesystem::path profilesFolder();

/// The settings that the last `tovixctl keep` has written down.
std::filesystem::path lastSettingsFile();

/// A name beside that file, for one that breaks a rule: "last-refused-1.txt", with the first number that is free.
std::filesystem::path freeNameForRefused(const std::filesystem::path& lastSettings);

/// The files that have been put aside so, the first ones first.
std::vector<std::filesystem::path> refusedFiles(const std::filesystem::path& lastSettings);

} // namespace tovix::keep
