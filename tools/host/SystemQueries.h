#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

namespace tovix {

/// What the tools ask the system. [control], any thread.

/// "access is denied (error 5)": the system's own words for an error code, in UTF-8.
std::string describeSystemError(DWORD error);

/// The full path of this program's file.
std::wstring ownProgramPath();

/// How many handles besides `ownHandles` of this process's the whole system has open on the object behind `hObject`;
/// none where the system does not tell.
std::optional<std::uint32_t> otherHandles(HANDLE hObject, std::uint32_t ownHandles) noexcept;

/// Whether an event is signalled, without taking the signal; none where the system does not tell.
std::optional<bool> isSignalled(HANDLE hEvent) noexcept;

} // namespace tovix
