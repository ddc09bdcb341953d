#pragma once

#include "install/MachinePlan.h"

#include <filesystem>

namespace tovix::install {

/// All are [control] and read the machine; they throw InstallRefusal.

/// Throws notInstalled where COM does not know this effect's class, or the library that it names is not there.
void requireInstalled(const RegistryTree& registry);

/// Says what of the installation is not as it was left, and puts its registry values right. A missing file is copied
/// again, with its folder, where `package` has it with the same content. Without the library the plan has an
/// obstacle: there is nothing that devices could load.
MachinePlan planInstallationRepair(const std::filesystem::path& package, const RegistryTree& registry,
                                   const ChangeJournal& journal);

} // namespace tovix::install
