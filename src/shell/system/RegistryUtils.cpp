#include "system/RegistryUtils.h"

#include "system/SystemText.h"
#include "system/WinHandles.h"

#include <objbase.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tovix {
namespace {

struct KeyPath {
    HKEY root;
    std::wstring path;
};

KeyPath splitKey(const std::wstring& key) {
    const std::array<std::pair<std::wstring_view, HKEY>, 5> roots{{
        {L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
        {L"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
        {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
        {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
        {L"HKEY_USERS", HKEY_USERS},
    }};
    const auto backslash = key.find(L'\\');
    if (backslash == std::wstring::npos) {
        throw RegistryException(L"Wrong format of the key: " + key);
    }
    std::wstring root = key.substr(0, backslash);
    std::transform(root.begin(), root.end(), root.begin(),
                   [](wchar_t c) { return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c; });
    const auto found =
        std::find_if(roots.begin(), roots.end(), [&](const auto& entry) { return entry.first == root; });
    if (found == roots.end()) {
        throw RegistryException(L"Root registry key is incorrect:" + key);
    }
    return {found->second, key.substr(backslash + 1)};
}

/// Opens an existing key for setting values.
RegistryKey openRegistryKey(const std::wstring& key) {
    const KeyPath where = splitKey(key);
    HKEY hKey = nullptr;
    const LSTATUS error = ::RegOpenKeyExW(where.root, where.path.c_str(), 0, KEY_SET_VALUE | KEY_WOW64_64KEY, &hKey);
    if (error != ERROR_SUCCESS) {
        throw RegistryException(L"Opening key " + key + L": " + systemMessage(static_cast<DWORD>(error)));
    }
    return RegistryKey(hKey);
}

} // namespace

void createRegistryKey(const std::wstring& key) {
    const KeyPath where = splitKey(key);
    HKEY hKey = nullptr;
    const LSTATUS error = ::RegCreateKeyExW(where.root, where.path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                            KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &hKey, nullptr);
    if (error != ERROR_SUCCESS) {
        throw RegistryException(L"Creating key " + key + L": " + systemMessage(static_cast<DWORD>(error)));
    }
    const RegistryKey created(hKey);
}

void writeRegistryValue(const std::wstring& key, const std::wstring& valueName, const std::wstring& value) {
    const RegistryKey opened = openRegistryKey(key);
    const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    const LSTATUS error = ::RegSetValueExW(opened.get(), valueName.c_str(), 0, REG_SZ,
                                           reinterpret_cast<const BYTE*>(value.c_str()), bytes);
    if (error != ERROR_SUCCESS) {
        throw RegistryException(L"Writing value " + key + L"\\" + valueName + L": " +
                                systemMessage(static_cast<DWORD>(error)));
    }
}

void deleteRegistryKey(const std::wstring& key) {
    const KeyPath where = splitKey(key);
    const LSTATUS error = ::RegDeleteKeyExW(where.root, where.path.c_str(), KEY_WOW64_64KEY, 0);
    if (error != ERROR_SUCCESS) {
        throw RegistryException(L"Failed to delete registry key " + key + L": " +
                                systemMessage(static_cast<DWORD>(error)));
    }
}

std::wstring classIdText(REFCLSID classId) {
    LPOLESTR pText = nullptr;
    if (FAILED(::StringFromCLSID(classId, &pText))) {
        throw RegistryException(L"StringFromCLSID failed");
    }
    const TaskMemory<wchar_t> text(pText);
    return text.get();
}

} // namespace tovix
