#pragma once

#include "system/WinHandles.h"

#include <string>
#include <vector>

namespace tovix::test {

/// One value of the effect's registry key, 64-bit view, for the object's life; before and after it there is none.
class RegistryValue {
public:
    RegistryValue(std::wstring name, DWORD type, const std::vector<BYTE>& data) : m_name(std::move(name)) {
        ::RegSetValueExW(key().get(), m_name.c_str(), 0, type, data.data(), static_cast<DWORD>(data.size()));
    }
    RegistryValue(std::wstring name, DWORD number)
        : RegistryValue(std::move(name), REG_DWORD,
                        {static_cast<BYTE>(number), static_cast<BYTE>(number >> 8U), static_cast<BYTE>(number >> 16U),
                         static_cast<BYTE>(number >> 24U)}) {}
    ~RegistryValue() { ::RegDeleteValueW(key().get(), m_name.c_str()); }
    RegistryValue(const RegistryValue&) = delete;
    RegistryValue& operator=(const RegistryValue&) = delete;

    static RegistryKey key() {
        HKEY hKey = nullptr;
        ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quelmark\\Volmora", 0, nullptr, 0,
                          KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &hKey, nullptr);
        return RegistryKey(hKey);
    }

private:
    std::wstring m_name;
};

} // namespace tovix::test
