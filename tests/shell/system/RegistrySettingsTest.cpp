#include "system/RegistrySettings.h"
#include "support/RegistryValue.h"

#include <gtest/gtest.h>

namespace tovix::test {
namespace {

const struct {
    const char* description;
    DWORD type;
    std::vector<BYTE> data;
    std::uint32_t logLevel;
    bool previousEffect;
} valueCases[] = {
    {"zero", REG_DWORD, {0, 0, 0, 0}, 0, false},
    {"five", REG_DWORD, {5, 0, 0, 0}, 5, true},
    {"six", REG_DWORD, {6, 0, 0, 0}, 3, true},
    {"largest", REG_DWORD, {255, 255, 255, 255}, 3, true},
    {"short number", REG_DWORD, {1}, 1, true},
    {"long number", REG_DWORD, {1, 0, 0, 0, 0, 0, 0, 0}, 3, false},
    {"quad", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}, 3, false},
    {"text", REG_SZ, {'1', 0, 0, 0}, 3, false},
    {"binary", REG_BINARY, {1, 0, 0, 0}, 3, false},
};

TEST(RegistrySettings, AcceptNumbersOfFourBytesAndNothingElse) {
    for (const auto& c : valueCases) {
        SCOPED_TRACE(c.description);
        const RegistryValue level(L"MLS", c.type, c.data);
        const RegistryValue previousEffect(L"EnableOldApo", c.type, c.data);
        EXPECT_EQ(ReadLogLevelSetting(), c.logLevel);
        EXPECT_EQ(ReadPreviousEffectSetting(), c.previousEffect);
    }
}

void expectDefaults() {
    EXPECT_EQ(ReadLogLevelSetting(), 3U);
    EXPECT_FALSE(ReadPreviousEffectSetting());
}

TEST(RegistrySettings, MissingValueAndMissingKeyGiveTheDefaults) {
    RegistryValue::key();
    expectDefaults();
    ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quelmark\\Volmora", KEY_WOW64_64KEY, 0);
    expectDefaults();
}

TEST(RegistrySettings, ValuesOfThe32BitViewAreNotSeen) {
    HKEY hKey = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quelmark\\Volmora", 0, nullptr, 0,
                                KEY_ALL_ACCESS | KEY_WOW64_32KEY, nullptr, &hKey, nullptr),
              ERROR_SUCCESS);
    const RegistryKey key(hKey);
    const DWORD one = 1;
    for (const wchar_t* const name : {L"MLS", L"EnableOldApo"}) {
        ::RegSetValueExW(hKey, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&one), sizeof one);
    }
    expectDefaults();
    for (const wchar_t* const name : {L"MLS", L"EnableOldApo"}) {
        ::RegDeleteValueW(hKey, name);
    }
}

} // namespace
} // namespace tovix::test
