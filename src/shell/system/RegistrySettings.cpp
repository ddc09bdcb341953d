#include "system/RegistrySettings.h"

#include "log/Log.h"
#include "system/WinHandles.h"
#include "text/SettingsNames.h"

#include <optional>

namespace tovix {
namespace {

constexpr auto defaultLogLevel = static_cast<std::uint32_t>(LogLevel::Warning);
constexpr auto highestLogLevel = static_cast<std::uint32_t>(LogLevel::Debug);

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
    const std::uint32_t level = readNumber(logLevelValueName).value_or(defaultLogLevel);
    return level <= highestLogLevel ? level : defaultLogLevel;
}

bool ReadPreviousEffectSetting() noexcept {
    return readNumber(settings::enableOldApo.wide().data()).value_or(0) != 0;
}

} // namespace tovix
