#pragma once

#include <filesystem>

namespace tovix::keep {

/// Where this user's files are, in the folder that Windows roams and backs up for programs' settings. [control], any
/// thread; throws a KeepRefusal (fileRefused) where the user has no such folder. Nothing is created.

/// One file for each profile.
std::filesystem::path profilesFolder();

/// The settings that the last `tovixctl keep` has written down.
std::filesystem::path lastSettingsFile();

} // namespace tovix::keep
