#pragma once

namespace tovix::install {

/// [control] Called after every single change to the registry or to a file. The program does nothing there; a test's
/// program, which defines it otherwise, ends itself at one of these moments.
void machineChanged() noexcept;

} // namespace tovix::install
