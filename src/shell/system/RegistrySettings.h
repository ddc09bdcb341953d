#pragma once

#include <cstdint>

namespace tovix {

/// The machine's settings, under HKEY_LOCAL_MACHINE in the 64-bit view of the registry. The effect only reads them.
/// Every function is [control], may be called from any thread, and never fails: a missing key, a missing value,
/// another type than REG_DWORD, more than four bytes or a refused access give the default. Nothing is logged.

inline constexpr const wchar_t* settingsRegistryKey = L"SOFTWARE\\Quelmark\\Volmora";
inline constexpr const wchar_t* logLevelValueName = L"MLS";

/// "MLS", the log level, 0 (none) to 5 (debug). The default, also for a larger number, is 3 (warning).
std::uint32_t ReadLogLevelSetting() noexcept;

/// "EnableOldApo", whether the device's previous effect is wanted: true for any number but 0. Default false.
bool ReadPreviousEffectSetting() noexcept;

} // namespace tovix
