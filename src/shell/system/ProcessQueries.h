#pragma once

#include <cstdint>

namespace tovix {

/// Questions about the current process. [control]; any thread. Those that throw throw the system's error code
/// as a `std::uint32_t` after they have released what they held.

/// Whether the user of the process belongs to the built-in Administrators, also when the process runs with a
/// token that was filtered of that membership. Throws.
bool IsUserAdmin();

/// Whether the calling thread's effective token is a member of the built-in Administrators. Throws.
bool IsRunningAsAdmin();

/// The process token's elevation flag. Throws.
bool IsProcessElevated();

/// Relative identifier of the process token's integrity label: 0x1000 low, 0x2000 medium, 0x3000 high, 0x4000
/// system. Throws; 0xFFFFFFFF when the label has no identifier.
std::uint32_t GetProcessIntegrityRid();

/// Whether the system has filtered tokens, which came with version 6.0. An unknown system is treated as a new one.
bool IsVistaOrLater() noexcept;

/// Whether the process is ending: other libraries may have been shut down already, and threads that the system has
/// ended may hold locks for ever. A process that ends gives everything back by itself.
bool processIsEnding() noexcept;

} // namespace tovix
