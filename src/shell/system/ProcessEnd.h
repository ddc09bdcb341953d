#pragma once

namespace tovix {

/// [control] Whether the process is ending: other libraries may have been shut down already, and threads that the
/// system has ended may hold locks for ever. A process that ends gives everything back by itself.
bool processIsEnding() noexcept;

} // namespace tovix
