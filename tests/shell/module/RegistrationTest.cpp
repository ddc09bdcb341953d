#include "support/ImportWatch.h"
#include "support/ModuleUnderTest.h"

#include <gtest/gtest.h>

#include <cstring>

namespace tovix::test {
namespace {

constexpr const wchar_t* classKey = L"SOFTWARE\\Classes\\CLSID\\{8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}";
constexpr const wchar_t* serverKey =
    L"SOFTWARE\\Classes\\CLSID\\{8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}\\InprocServer32";
constexpr const wchar_t* engineListKey = L"SOFTWARE\\Classes\\AudioEngine\\AudioProcessingObjects";
constexpr const wchar_t* engineKey =
    L"SOFTWARE\\Classes\\AudioEngine\\AudioProcessingObjects\\{8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}";

RegistryKey openKey(const wchar_t* path, DWORD access = KEY_READ) {
    HKEY hKey = nullptr;
    ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, access | KEY_WOW64_64KEY, &hKey);
    return RegistryKey(hKey);
}

/// A value as text; its type when it is neither string nor number, "none" when there is none.
std::wstring valueOf(const wchar_t* path, const wchar_t* name) {
    DWORD type = 0;
    wchar_t data[300] = {};
    DWORD bytes = sizeof data;
    if (::RegGetValueW(HKEY_LOCAL_MACHINE, path, name, RRF_RT_ANY | RRF_SUBKEY_WOW6464KEY, &type, data, &bytes) !=
        0) {
        return L"none";
    }
    DWORD number = 0;
    std::memcpy(&number, data, sizeof number);
    return type == REG_SZ ? data : type == REG_DWORD ? std::to_wstring(number) : L"other";
}

void deleteTree(const wchar_t* path) {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, path);
}

class Registration : public testing::Test {
protected:
    Registration() { clear(); }
    ~Registration() override { clear(); }

    /// A key that lets no lasting key be made below it.
    static void makeVolatile(const wchar_t* path) {
        HKEY hKey = nullptr;
        ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS | KEY_WOW64_64KEY,
                          nullptr, &hKey, nullptr);
        const RegistryKey key(hKey);
    }

    ModuleUnderTest module;

    /// Takes away what is the effect's own. The engine's keys above it go only when they are empty: a key with
    /// others below it, such as every other vendor's effects, is not deleted.
    static void clear() {
        deleteTree(classKey);
        deleteTree(engineKey);
        for (const wchar_t* const path : {engineListKey, L"SOFTWARE\\Classes\\AudioEngine"}) {
            ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path, KEY_WOW64_64KEY, 0);
        }
    }
};

TEST_F(Registration, WritesTheClassAndTheEnginesEntryAndTakesThemBack) {
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
        const RegistryKey key = openKey(engineKey, KEY_SET_VALUE);
        ::RegSetValueExW(key.get(), L"Stale", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"x"), 4);
    }
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
    EXPECT_EQ(valueOf(engineKey, L"Stale"), L"none");

    EXPECT_EQ(valueOf(classKey, L""), L"Tovix Global Effect");
    EXPECT_EQ(std::filesystem::path(valueOf(serverKey, L"")), programFolder() / "Tovix64.dll");
    EXPECT_EQ(valueOf(serverKey, L"ThreadingModel"), L"Both");
    const std::pair<const wchar_t*, const wchar_t*> values[] = {
        {L"FriendlyName", L"Tovix"},
        {L"Copyright", L"Copyright (c) the Tovix authors"},
        {L"MajorVersion", L"1"},
        {L"MinorVersion", L"0"},
        {L"Flags", L"13"},
        {L"MinInputConnections", L"1"},
        {L"MaxInputConnections", L"1"},
        {L"MinOutputConnections", L"1"},
        {L"MaxOutputConnections", L"1"},
        {L"MaxInstances", L"4294967295"},
        {L"NumAPOInterfaces", L"1"},
        {L"APOInterface0", L"{FD7F2B29-24D0-4B5C-B177-592C39F9CA10}"},
    };
    for (const auto& [name, value] : values) {
        EXPECT_EQ(valueOf(engineKey, name), value);
    }

    EXPECT_EQ(module.call("DllUnregisterServer"), S_OK);
    EXPECT_FALSE(openKey(classKey));
    EXPECT_FALSE(openKey(engineKey));
    EXPECT_EQ(module.call("DllUnregisterServer"), E_FAIL);

    // As strict as Windows is: nothing reserved, and a text with its end.
    const auto setStrictly =
        +[](HKEY hKey, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* pData, DWORD bytes) -> LSTATUS {
        const bool ends = type != REG_SZ || (pData[bytes - 2] == 0 && pData[bytes - 1] == 0);
        return ends && reserved == 0 ? ::RegSetValueExW(hKey, name, 0, type, pData, bytes) : ERROR_INVALID_PARAMETER;
    };
    ImportWatch imports(module.handle());
    imports.redirect("RegSetValueExW", setStrictly);
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
    deleteTree(engineKey);
    EXPECT_EQ(module.call("DllUnregisterServer"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
}

TEST_F(Registration, ThatFailsHalfWayIsUndone) {
    {
        ImportWatch imports(module.handle());
        imports.redirect(
            "GetModuleFileNameW", +[](HMODULE, wchar_t*, DWORD capacity) { return capacity; });
        EXPECT_EQ(module.call("DllRegisterServer"), E_FAIL);
    }
    makeVolatile(classKey);
    EXPECT_EQ(module.call("DllRegisterServer"), E_FAIL);
    EXPECT_FALSE(openKey(engineKey));

    clear();
    if (openKey(engineListKey)) {
        GTEST_SKIP() << "other effects are registered: their list stays as it is";
    }
    makeVolatile(engineListKey);
    EXPECT_EQ(module.call("DllRegisterServer"), HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE));
    EXPECT_FALSE(openKey(classKey));
}

} // namespace
} // namespace tovix::test
