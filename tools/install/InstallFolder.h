#pragma once

#include <filesystem>

namespace tovix::install {

/// [control] Where this program is: the rest of the package is beside it.
std::filesystem::path packageFolder();

/// [control] "Tovix" in the system's folder for 64-bit programs. Throws InstallRefusal.
std::filesystem::path defaultInstallFolder();

/// [control] A folder that a user names, as a full path. Throws InstallRefusal (fileRefused) for one that the audio
/// service cannot read: in a user's own profile, or on a network. Devices that name a library there would lose their
/// other effects too, because the engine gives up after some failures.
std::filesystem::path checkedInstallFolder(const std::filesystem::path& wished);

} // namespace tovix::install
