#include "exchange/ConfigHelper.h"
#include "exchange/SecurityHelper.h"
#include "support/ChildProcess.h"
#include "support/SharedDescriptor.h"

namespace tovix::test {
namespace {

KernelHandle openEvent(const wchar_t* name) {
    return KernelHandle(::OpenEventW(READ_CONTROL, FALSE, name));
}

TEST(SharedObjectSecurity, EachObjectCarriesTheWholeDescriptor) {
    EXPECT_EQ(GlobalObjectSecurity().attributes()->nLength, sizeof(SECURITY_ATTRIBUTES));
    {
        const ApoConfigManager manager;
        expectSharedDescriptor(openEvent(L"Global\\TovixDataUpdate").get(), EVENT_ALL_ACCESS);
        const KernelHandle mapping(::OpenFileMappingW(READ_CONTROL, FALSE, L"Global\\TovixConfigData"));
        expectSharedDescriptor(mapping.get(), SECTION_ALL_ACCESS);
    }
    const KernelHandle nameTaken(::CreateSemaphoreW(nullptr, 0, 1, L"Global\\TovixConfigData"));
    const ApoConfigManager waiting;
    expectSharedDescriptor(openEvent(L"Global\\TovixDataCreate").get(), EVENT_ALL_ACCESS);
}

TEST(CreateGlobalPrivilege, IsEnabledWhereTheAccountHoldsItAndRefusedElsewhere) {
    EXPECT_TRUE(EnableCreateGlobalPrivilege(::GetCurrentProcess()));
    EXPECT_FALSE(EnableCreateGlobalPrivilege(nullptr));
    const ChildProcess child({programFolder() / "tovix-effect-side.exe", L""});
    HANDLE hToken = nullptr;
    ::OpenProcessToken(child.process(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &hToken);
    const KernelHandle token(hToken);
    TOKEN_PRIVILEGES removed{1, {{{}, SE_PRIVILEGE_REMOVED}}};
    ::LookupPrivilegeValueW(nullptr, L"SeCreateGlobalPrivilege", &removed.Privileges[0].Luid);
    ASSERT_TRUE(::AdjustTokenPrivileges(hToken, FALSE, &removed, 0, nullptr, nullptr));
    EXPECT_FALSE(EnableCreateGlobalPrivilege(child.process()));
}

} // namespace
} // namespace tovix::test
