#include "platform/ApoRegistration.h"

#include "system/WinHandles.h"

#include <objbase.h>

#include <array>
#include <cstdio>
#include <cwchar>

namespace tovix {
namespace {

/// Room for a braced identifier and its terminator.
using GuidText = std::array<wchar_t, 39>;

GuidText guidText(REFGUID guid) noexcept {
    GuidText text{};
    ::StringFromGUID2(guid, text.data(), static_cast<int>(text.size()));
    return text;
}

LSTATUS openEngineKey(RegistryKey& engineKey) noexcept {
    HKEY hKey = nullptr;
    const LSTATUS error = ::RegCreateKeyExW(HKEY_CLASSES_ROOT, apoListKey, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                            KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_WOW64_64KEY,
                                            nullptr, &hKey, nullptr);
    engineKey.reset(hKey);
    return error;
}

/// Writes values into one key until the first failure, which it keeps.
class ValueWriter final : public ApoValues {
public:
    explicit ValueWriter(HKEY hKey) noexcept : m_hKey(hKey) {}

    void text(const wchar_t* name, const wchar_t* value) noexcept override {
        write(name, REG_SZ, value, static_cast<DWORD>((std::wcslen(value) + 1) * sizeof(wchar_t)));
    }
    void number(const wchar_t* name, DWORD value) noexcept override { write(name, REG_DWORD, &value, sizeof value); }
    [[nodiscard]] LSTATUS error() const noexcept { return m_error; }

private:
    void write(const wchar_t* name, DWORD type, const void* pData, DWORD bytes) noexcept {
        if (m_error == ERROR_SUCCESS) {
            m_error = ::RegSetValueExW(m_hKey, name, 0, type, static_cast<const BYTE*>(pData), bytes);
        }
    }

    HKEY m_hKey;
    LSTATUS m_error = ERROR_SUCCESS;
};

LSTATUS writeValues(HKEY hKey, const APO_REG_PROPERTIES& properties) noexcept {
    ValueWriter writer(hKey);
    listApoValues(properties, writer);
    return writer.error();
}

LSTATUS registerUnder(HKEY hEngineKey, const APO_REG_PROPERTIES& properties) noexcept {
    const GuidText name = guidText(properties.clsid);
    LSTATUS error = ::RegDeleteKeyExW(hEngineKey, name.data(), KEY_WOW64_64KEY, 0);
    if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) {
        return error;
    }
    HKEY hKey = nullptr;
    error = ::RegCreateKeyExW(hEngineKey, name.data(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &hKey, nullptr);
    const RegistryKey classKey(hKey);
    return error == ERROR_SUCCESS ? writeValues(hKey, properties) : error;
}

} // namespace

void listApoValues(const APO_REG_PROPERTIES& properties, ApoValues& values) {
    values.text(L"FriendlyName", properties.szFriendlyName);
    values.text(L"Copyright", properties.szCopyrightInfo);
    values.number(L"MajorVersion", properties.u32MajorVersion);
    values.number(L"MinorVersion", properties.u32MinorVersion);
    values.number(L"Flags", properties.Flags);
    values.number(L"MinInputConnections", properties.u32MinInputConnections);
    values.number(L"MaxInputConnections", properties.u32MaxInputConnections);
    values.number(L"MinOutputConnections", properties.u32MinOutputConnections);
    values.number(L"MaxOutputConnections", properties.u32MaxOutputConnections);
    values.number(L"MaxInstances", properties.u32MaxInstances);
    values.number(L"NumAPOInterfaces", properties.u32NumAPOInterfaces);
    for (UINT32 i = 0; i < properties.u32NumAPOInterfaces; ++i) {
        constexpr std::size_t longestName = 24;
        std::array<wchar_t, longestName> name{};
        std::swprintf(name.data(), name.size(), L"APOInterface%u", i);
        values.text(name.data(), guidText(properties.iidAPOInterfaceList[i]).data());
    }
}

HRESULT RegisterAPO(const APO_REG_PROPERTIES& properties) noexcept {
    RegistryKey engineKey;
    LSTATUS error = openEngineKey(engineKey);
    if (error == ERROR_SUCCESS) {
        error = registerUnder(engineKey.get(), properties);
    }
    return HRESULT_FROM_WIN32(error);
}

HRESULT UnregisterAPO(REFCLSID classId) noexcept {
    HKEY hKey = nullptr;
    LSTATUS error = ::RegOpenKeyExW(HKEY_CLASSES_ROOT, apoListKey, 0, KEY_QUERY_VALUE | KEY_WOW64_64KEY, &hKey);
    const RegistryKey engineKey(hKey);
    if (error == ERROR_SUCCESS) {
        error = ::RegDeleteKeyExW(hKey, guidText(classId).data(), KEY_WOW64_64KEY, 0);
    }
    return HRESULT_FROM_WIN32(error);
}

} // namespace tovix
