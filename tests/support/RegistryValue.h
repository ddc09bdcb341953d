#pragma once

#include "system/WinHandles.h"

#include <string>
#include <vector>

namespace tovix::test {

/// One value of the effect's registry key, 64-bit view, for the object's life; before and after it there is none.
class RegistryValue {
public:
    RegistryValue(std::wstring name, DWORD type, const std::vector<BYTE>& data, DWORD view = KEY_WOW64_64KEY)
        : m_name(std::move(name)), m_key(key(view)) {
        ::RegSetValueExW(m_key.get(), m_name.c_str(), 0, type, data.data(), static_cast<DWORD>(data.size()));
    }
    RegistryValue(std::wstring name, BYTE number, DWORD view = KEY_WOW64_64KEY)
        : RegistryValue(std::move(name), REG_DWORD, {number, 0, 0, 0}, view) {}
    ~RegistryValue() { ::RegDeleteValueW(m_key.get(), m_name.c_str()); }
    RegistryValue(const RegistryValue&) = delete;
    RegistryValue& operator=(const RegistryValue&) = delete;

    static RegistryKey key(DWORD view = KEY_WOW64_64KEY) {
        HKEY hKey = nullptr;
        ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quelmark\\Volmora", 0, nullptr, 0, KEY_SET_VALUE | view,
                          nullptr, &hKey, nullptr);
        return RegistryKey(hKey);
    }

private:
    std::wstring m_name;
    RegistryKey m_key;
};

} // namespace tovix::test
