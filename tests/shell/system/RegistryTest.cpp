#include "support/RegistryValue.h"
#include "system/RegistrySettings.h"
#include "system/RegistryUtils.h"

#include <gtest/gtest.h>

namespace tovix::test {
namespace {

TEST(RegistrySettings, AcceptNumbersOfFourBytesAndNothingElse) {
    const struct {
        const char* description;
        DWORD type;
        std::vector<BYTE> data;
        std::uint32_t logLevel;
        bool previousEffect;
    } cases[] = {
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
    for (const auto& c : cases) {
        SCOPED_TRACE(c.description);
        const RegistryValue level(L"MLS", c.type, c.data);
        const RegistryValue previousEffect(L"EnableOldApo", c.type, c.data);
        EXPECT_EQ(ReadLogLevelSetting(), c.logLevel);
        EXPECT_EQ(ReadPreviousEffectSetting(), c.previousEffect);
    }
}

TEST(RegistrySettings, WithoutTheValueOrTheKeyHaveTheirDefaultsWhateverThe32BitViewHolds) {
    const RegistryValue level(L"MLS", 1, KEY_WOW64_32KEY);
    const RegistryValue previousEffect(L"EnableOldApo", 1, KEY_WOW64_32KEY);
    RegistryValue::key();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ReadLogLevelSetting(), 3U);
        EXPECT_FALSE(ReadPreviousEffectSetting());
        ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quelmark\\Volmora", KEY_WOW64_64KEY, 0);
    }
}

/// The message of what an operation threw, up to the system's own words.
template <class Operation> std::wstring failureOf(Operation operation) {
    try {
        operation();
    } catch (const RegistryException& failure) {
        return failure.message();
    }
    return L"no failure";
}

TEST(RegistryUtils, FailuresNameTheStepAndTheKey) {
    const std::wstring missing = L"hkey_local_machine\\SOFTWARE\\Tovix no such key";
    const std::wstring tooLong = L"HKEY_CURRENT_USER\\" + std::wstring(300, L'x');
    EXPECT_EQ(failureOf([] { createRegistryKey(L"HKEY_LOCAL_MACHINE"); }),
              L"Wrong format of the key: HKEY_LOCAL_MACHINE");
    EXPECT_EQ(failureOf([] { deleteRegistryKey(L"HKLM\\SOFTWARE"); }),
              L"Root registry key is incorrect:HKLM\\SOFTWARE");
    const std::pair<std::wstring, std::wstring> failures[] = {
        {failureOf([&] { writeRegistryValue(missing, L"v", L"x"); }), L"Opening key " + missing + L": "},
        {failureOf([&] { deleteRegistryKey(missing); }), L"Failed to delete registry key " + missing + L": "},
        {failureOf([&] { createRegistryKey(tooLong); }), L"Creating key " + tooLong + L": "},
    };
    for (const auto& [message, start] : failures) {
        EXPECT_EQ(message.substr(0, start.size()), start);
        EXPECT_GT(message.size(), start.size()) << "the system's reason is missing";
        EXPECT_EQ(message.find(L'\n'), std::wstring::npos);
    }
}

} // namespace
} // namespace tovix::test
