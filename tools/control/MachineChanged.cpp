#include "install/MachineChanged.h"

namespace tovix::install {

void machineChanged() {}

} // namespace tovix::install
