// tovixctl install and uninstall as a process.

#include "support/OrdinaryToken.h"
#include "tools/control/MachineProgram.h"
#include "tools/install/TestService.h"

#include <algorithm>

namespace tovix::test {
namespace {

using namespace install;

class InstallProgram : public MachineProgram {
protected:
    static std::filesystem::path folder() { return root() / L"Tovix"; }
    static std::filesystem::path library() { return folder() / libraryName; }
    static std::wstring installTo(const std::filesystem::path& target) {
        return L"install --to \"" + target.wstring() + L"\"";
    }
    /// Starts a command of Wine's host on a file; false where there is no such host.
    static bool runOnHost(const wchar_t* program, const std::wstring& arguments, const std::wstring& file) {
        std::wstring hostName = file.substr(file.find(L':') + 1);
        std::replace(hostName.begin(), hostName.end(), L'\\', L'/');
        try {
            const ChildProcess command({.program = program, .arguments = arguments + L" \"" + hostName + L"\""});
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }

    const std::wstring install = installTo(folder());
};

TEST_F(InstallProgram, LeavesTheSameRegistryAsTheLibrarysOwnRegistration) {
    const auto before = state();
    const std::string dry = run(install + L" --allow-unsigned --dry-run");
    EXPECT_NE(dry.find("DisableProtectedAudioDG\": (none) -> 1"), std::string::npos) << dry;
    EXPECT_EQ(state(), before);
    run(install);
    auto installed = state().first;
    std::erase_if(installed, [](const auto& key) { return key.first.starts_with(L"SOFTWARE\\Quelmark"); });
    run(L"uninstall");
    EXPECT_EQ(state(), before);

    std::filesystem::create_directories(folder());
    std::filesystem::copy_file(programFolder() / libraryName, library());
    const ModuleReference module(::LoadLibraryW(library().c_str()));
    ASSERT_EQ(moduleExport<HRESULT WINAPI()>(module.get(), "DllRegisterServer")(), S_OK);
    EXPECT_EQ(state().first, installed);
}

TEST_F(InstallProgram, WhileTheLibraryIsLoadedNothingChangesUnlessTheAudioServiceIsRestarted) {
    run(install);
    const auto installed = state();
    std::ofstream(library(), std::ios::binary | std::ios::app) << "of another version";
    const TemporaryFolder record;
    const TestService audio(L"Audiosrv", record.path() / L"record", L"a", library());
    ASSERT_TRUE(audio.isRunning());
    expectRefusal(install, 13);
    run(install + L" --restart-audio");
    EXPECT_EQ(state(), installed);
    EXPECT_EQ(test::contentOf(record.path() / L"record"), "+a-a+a");
    expectRefusal(L"uninstall", 13);

    const ModuleReference another(::LoadLibraryW(library().c_str()));
    expectRefusal(L"uninstall --restart-audio", 13);
    EXPECT_TRUE(audio.isRunning()) << "also when the change fails";
}

TEST_F(InstallProgram, WithoutRoomForTheLibraryNothingChanges) {
    const auto coming = library().wstring() + L".tovix-new";
    std::filesystem::create_directories(folder());
    const auto before = state();
    // A disk without room: what is to be written goes into the host's device that takes nothing. Only the host can
    // remove its name again, and reading it would not end.
    if (!runOnHost(L"Z:\\bin\\ln", L"-s /dev/full", coming)) {
        GTEST_SKIP() << "no Wine, so no device that is always full";
    }
    ASSERT_TRUE(becomesTrue([] { return !std::filesystem::is_empty(folder()); }));
    run(install + L" --allow-unsigned", 14);
    runOnHost(L"Z:\\bin\\rm", L"-f", coming);
    ASSERT_TRUE(becomesTrue([] { return std::filesystem::is_empty(folder()); }));
    EXPECT_EQ(state(), before);
}

TEST_F(InstallProgram, EachRefusalHasItsStatusAndChangesNothing) {
    const TemporaryFolder alone;
    std::filesystem::copy_file(programFolder() / L"tovixctl.exe", alone.path() / L"tovixctl.exe");
    expectRefusal(install, 15, nullptr, alone.path());
    expectRefusal(installTo(alone.path()), 15);
    expectRefusal(installTo(programFolder() / libraryName / L"below a file"), 15);
    expectRefusal(install, 10, ordinaryToken().get());
    expectRefusal(install + L" --restart-audio", 18);
    expectRefusal(install + L" --hold", 2);
    registry.createKey(protectionKey);
    registry.write(protectionKey, protectionValue, textData(L"1"));
    expectRefusal(install + L" --allow-unsigned", 12);
}

} // namespace
} // namespace tovix::test
