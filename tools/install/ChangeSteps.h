#pragma once

#include "install/MachineChange.h"

namespace tovix::install {

/// One change at a time. Each of the three can be repeated after it was cut off anywhere. [control]; all throw
/// InstallRefusal.

/// Makes the change. Throws where the machine is not as `before` says, because another program has been quicker. An
/// empty key that the system does not let go stays.
void make(const MachineChange& change, RegistryTree& registry);

/// Brings the machine to what it was before the change was made, in part or as a whole.
void takeBack(const MachineChange& change, RegistryTree& registry);

/// Removes what was put aside so that the change could be taken back.
void finish(const MachineChange& change);

} // namespace tovix::install
