#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>

namespace tovix::control {

/// How many handles besides `ownHandles` of this process's the whole system has open on the object behind `hObject`;
/// none where the system does not tell.
std::optional<std::uint32_t> otherHandles(HANDLE hObject, std::uint32_t ownHandles) noexcept;

} // namespace tovix::control
