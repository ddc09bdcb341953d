#include "exchange/ConfigHelper.h"
#include "exchange/SecurityHelper.h"
#include "support/ControlSide.h"
#include "support/SharedDescriptor.h"

namespace tovix::test {
namespace {

KernelHandle openEvent(const wchar_t* name) {
    return KernelHandle(::OpenEventW(READ_CONTROL, FALSE, name));
}

TEST(SharedObjectSecurity, EachObjectCarriesTheWholeDescriptor) {
    {
        const ApoConfigManager manager;
        expectSharedDescriptor(openEvent(L"Global\\TovixDataUpdate").get(), EVENT_ALL_ACCESS);
        const KernelHandle mapping(::OpenFileMappingW(READ_CONTROL, FALSE, L"Global\\TovixConfigData"));
        expectSharedDescriptor(mapping.get(), SECTION_ALL_ACCESS);
    }
    ControlSide control;
    ASSERT_EQ(control("occupy page"), "ok");
    const ApoConfigManager waiting;
    expectSharedDescriptor(openEvent(L"Global\\TovixDataCreate").get(), EVENT_ALL_ACCESS);
}

TEST(SharedObjectSecurity, ASecondProcessOpensAllThreeObjects) {
    ControlSide obstacle;
    ASSERT_EQ(obstacle("occupy page"), "ok");
    const ApoConfigManager waiting;
    obstacle("drop");
    const ApoConfigManager creating;
    EXPECT_EQ(ControlSide{}("open-all"), "page ok, update ok, create ok");
}

TEST(CreateGlobalPrivilege, IsEnabledWhereTheAccountHoldsItAndRefusedElsewhere) {
    EXPECT_TRUE(EnableCreateGlobalPrivilege(::GetCurrentProcess()));
    EXPECT_FALSE(EnableCreateGlobalPrivilege(nullptr));
    ChildProcess child({programFolder() / "tovix-control-side.exe", L""});
    EXPECT_EQ(child.ask("drop-privilege"), "ok");
    EXPECT_FALSE(EnableCreateGlobalPrivilege(child.process()));
}

} // namespace
} // namespace tovix::test
