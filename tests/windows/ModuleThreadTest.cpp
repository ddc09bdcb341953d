#include "helpers/WinHandles.h"

#include <gtest/gtest.h>

namespace tovix::test {
namespace {

TEST(ModuleThread, ModuleStaysUntilItsThreadHasEnded) {
    constexpr const wchar_t* name = L"tovix-effect-module.dll";
    ModuleReference module(::LoadLibraryW(name));
    ASSERT_TRUE(module);
    auto* const pStart = moduleExport<HANDLE(HANDLE)>(module.get(), "StartThreadThatWaits");
    const KernelHandle go(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle thread(pStart(go.get()));
    ASSERT_TRUE(thread);
    module.reset();
    EXPECT_NE(::GetModuleHandleW(name), nullptr);
    ::SetEvent(go.get());
    EXPECT_EQ(::WaitForSingleObject(thread.get(), 5000), WAIT_OBJECT_0);
    DWORD exitCode = 0;
    ::GetExitCodeThread(thread.get(), &exitCode);
    EXPECT_EQ(exitCode, 42U);
    EXPECT_EQ(::GetModuleHandleW(name), nullptr);
}

} // namespace
} // namespace tovix::test
