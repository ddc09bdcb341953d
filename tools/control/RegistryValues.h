#pragma once

#include <cstdint>

namespace tovix::control {

/// Writes a REG_DWORD of the effect's key in the 64-bit view of the registry, creating the key when it is missing.
/// Throws a Refusal that ends in `consequence` when the system does not allow it.
void writeRegistryValue(const wchar_t* name, std::uint32_t value, const char* consequence);

} // namespace tovix::control
