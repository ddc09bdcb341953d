#pragma once

namespace tovix::install {

/// [control] Called after every single change to the registry or to a file. The program's own does nothing; a test's
/// throws or ends its process at one of these moments, as if it had been ended by force.
void machineChanged();

} // namespace tovix::install
