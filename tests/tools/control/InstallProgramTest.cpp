// tovixctl install and uninstall as a process, on this machine's own registry.

#include "support/OrdinaryToken.h"
#include "tools/control/RealMachine.h"
#include "tools/install/TestService.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace tovix::test {
namespace {

using namespace install;

class InstallProgram : public testing::Test {
protected:
    static std::filesystem::path folder() { return RealMachine::folder() / L"Tovix"; }
    static std::filesystem::path library() { return folder() / libraryName; }
    static std::wstring installTo(const std::filesystem::path& target) {
        return L"install --to \"" + target.wstring() + L"\"";
    }
    static void run(const std::wstring& command) {
        const ProgramRun done(command);
        ASSERT_EQ(done.status, 0U) << done.output;
    }
    void expectRefusal(const std::wstring& command, DWORD status,
                       const std::filesystem::path& program = L"tovixctl.exe", HANDLE hToken = nullptr) const {
        const auto before = machine.state();
        EXPECT_EQ(ProgramRun(command, program, hToken).status, status) << std::filesystem::path(command).string();
        EXPECT_TRUE(machine.state() == before) << std::filesystem::path(command).string();
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
    /// Has the installed library differ from the package's, as another version does.
    static void spoilLibrary() { std::ofstream(library(), std::ios::binary | std::ios::app) << "."; }

    RealMachine machine;
};

TEST_F(InstallProgram, LeavesTheSameRegistryAsTheLibrarysOwnRegistration) {
    run(installTo(folder()));
    auto installed = machine.state().registry;
    std::erase_if(installed, [](const auto& key) { return key.first.starts_with(L"SOFTWARE\\Quelmark"); });
    run(L"uninstall");
    EXPECT_TRUE(machine.state().registry.empty());
    EXPECT_TRUE(machine.state().files.empty());

    std::filesystem::create_directories(folder());
    std::filesystem::copy_file(programFolder() / libraryName, library());
    const ModuleReference module(::LoadLibraryW(library().c_str()));
    ASSERT_EQ(moduleExport<HRESULT WINAPI()>(module.get(), "DllRegisterServer")(), S_OK);
    EXPECT_EQ(machine.state().registry, installed);
}

TEST_F(InstallProgram, PrintsTheChangesAndMakesNoneOfThem) {
    const auto before = machine.state();
    const ProgramRun dry(installTo(folder()) + L" --allow-unsigned --dry-run");
    EXPECT_EQ(dry.status, 0U);
    EXPECT_NE(dry.output.find("DisableProtectedAudioDG\": (none) -> 1"), std::string::npos) << dry.output;
    EXPECT_TRUE(machine.state() == before);
}

TEST_F(InstallProgram, WhileTheLibraryIsLoadedNothingChangesUnlessTheAudioServiceIsRestarted) {
    run(installTo(folder()));
    const auto installed = machine.state();
    spoilLibrary();
    const TemporaryFolder record;
    const TestService audio(L"Audiosrv", record.path() / L"record", L"a", library());
    ASSERT_TRUE(audio.isRunning());
    expectRefusal(installTo(folder()), 13);
    run(installTo(folder()) + L" --restart-audio");
    EXPECT_TRUE(machine.state() == installed);
    EXPECT_EQ(test::contentOf(record.path() / L"record"), "+a-a+a");
    expectRefusal(L"uninstall", 13);

    const ModuleReference another(::LoadLibraryW(library().c_str()));
    expectRefusal(L"uninstall --restart-audio", 13);
    EXPECT_TRUE(audio.isRunning()) << "also when the change fails";
}

TEST_F(InstallProgram, WithoutRoomForTheLibraryNothingChanges) {
    const auto coming = library().wstring() + L".tovix-new";
    std::filesystem::create_directories(folder());
    const auto before = machine.state();
    // A disk without room: what is to be written goes into the host's device that takes nothing. Only the host can
    // remove its name again, and reading it would not end.
    if (!runOnHost(L"Z:\\bin\\ln", L"-s /dev/full", coming)) {
        GTEST_SKIP() << "no Wine, so no device that is always full";
    }
    ASSERT_TRUE(becomesTrue([] { return !std::filesystem::is_empty(folder()); }));
    const ProgramRun refused(installTo(folder()) + L" --allow-unsigned");
    runOnHost(L"Z:\\bin\\rm", L"-f", coming);
    ASSERT_TRUE(becomesTrue([] { return std::filesystem::is_empty(folder()); }));
    EXPECT_EQ(refused.status, 14U);
    EXPECT_TRUE(machine.state() == before);
}

TEST_F(InstallProgram, EachRefusalHasItsStatusAndChangesNothing) {
    const TemporaryFolder alone;
    std::filesystem::copy_file(programFolder() / L"tovixctl.exe", alone.path() / L"tovixctl.exe");
    expectRefusal(installTo(folder()), 15, alone.path() / L"tovixctl.exe");
    expectRefusal(installTo(alone.path()), 15);
    expectRefusal(installTo(programFolder() / libraryName / L"below a file"), 15);
    expectRefusal(installTo(folder()), 10, L"tovixctl.exe", ordinaryToken().get());
    expectRefusal(installTo(folder()) + L" --restart-audio", 18);
    expectRefusal(installTo(folder()) + L" --hold", 2);
    machine.registry.createKey(protectionKey);
    machine.registry.write(protectionKey, protectionValue, textData(L"1"));
    expectRefusal(installTo(folder()) + L" --allow-unsigned", 12);
}

} // namespace
} // namespace tovix::test
