#pragma once

#include "install/MachinePlan.h"

namespace tovix::install {

/// [control], reads the machine and changes nothing; throws InstallRefusal.

/// Everything that any record has, devices first; the product's own values in the registry; where the installation
/// has the development logger, its files in the folder for the data of all programs, unless that folder of its own is
/// a link. Nothing to do where there is none of it. What somebody has changed since is left alone and named in a
/// note.
MachinePlan planRemoval(const RegistryTree& registry, const ChangeJournal& journal);

} // namespace tovix::install
