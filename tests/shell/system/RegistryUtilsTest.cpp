#include "system/RegistryUtils.h"

#include <gtest/gtest.h>

namespace tovix::test {
namespace {

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
