#include "system/RegistrySettings.h"

#include "system/WinHandles.h"

#include <optional>

namespace tovix {
namespace {

constexpr std::uint32_t defaultLogLevel = 3;
constexpr std::uint32_t highestLogLevel = 5;

std::optional<std::uint32_t> readNumber(const wchar_t* name) noexcept {
    HKEY hKey = nullptr;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, settingsRegistryKey, 0, KEY_QUERY_VALUE | KEY_WOW64_64KEY, &hKey) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    const RegistryKey key(hKey);
    // Zeroed because a value shorter than the buffer is accepted and fills only its first bytes.
    std::uint32_t value = 0;
    DWORD type = REG_NONE;
    DWORD sizeBytes = sizeof value;
    if (::RegQueryValueExW(hKey, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &sizeBytes) !=
            ERROR_SUCCESS ||
        type != REG_DWORD) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::uint32_t ReadLogLevelSetting() noexcept {
    const std::uint32_t level = readNumber(L"MLS").value_or(defaultLogLevel);
    return level <= highestLogLevel ? level : defaultLogLevel;
}

bool ReadOldApoSetting() noexcept {
    return readNumber(L"EnableOldApo").value_or(0) != 0;
}

} // namespace tovix
