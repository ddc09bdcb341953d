#include "control/RegistryValues.h"

#include "host/SystemError.h"
#include "settings/Refusal.h"
#include "system/RegistrySettings.h"
#include "system/WinHandles.h"
#include "text/Utf.h"

namespace tovix::control {

void writeRegistryValue(const wchar_t* name, std::uint32_t value, const char* consequence) {
    HKEY hKey = nullptr;
    LSTATUS error = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, settingsRegistryKey, 0, nullptr, 0,
                                      KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &hKey, nullptr);
    const RegistryKey key(error == ERROR_SUCCESS ? hKey : nullptr);
    if (key) {
        error = ::RegSetValueExW(key.get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
    }
    if (error != ERROR_SUCCESS) {
        throw Refusal("The registry value \"" + encodeUtf8(name) +
                          "\" cannot be written, which takes an administrator: " +
                          describeSystemError(static_cast<DWORD>(error)) + "; " + consequence + ".",
                      ExitStatus::noRegistry);
    }
}

} // namespace tovix::control
