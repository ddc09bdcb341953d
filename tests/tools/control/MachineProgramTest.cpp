// tovixctl as a process that changes the machine: on output devices, and at installation.

#include "tools/control/MachineProgram.h"
#include "text/Utf.h"
#include "tools/install/TestService.h"

#include <nlohmann/json.hpp>
#include <sddl.h>

namespace tovix::test {
namespace {

using namespace install;

const ScratchDevice ours{L"{0D000000-0000-4000-8000-000000000001}", L"Lautsprecher \x00FC", L"Tovix Test"};
const ScratchDevice firstTwin{L"{0D000000-0000-4000-8000-000000000002}", L"Twin", L"Tovix Test"};
const ScratchDevice secondTwin{L"{0D000000-0000-4000-8000-000000000003}", L"Twin", L"Tovix Test"};
const ScratchDevice unplugged{L"{0D000000-0000-4000-8000-000000000004}", L"Unplugged", L"Tovix Test", 8};

class DeviceProgram : public MachineProgram {
protected:
    DeviceProgram() {
        for (const auto& device : {ours, firstTwin, secondTwin, unplugged}) {
            add(device);
        }
        put(ours, effectKey(7), textData(vendorClass));
        put(unplugged, effectKey(15), listData({vendorClass}));
    }

    ~DeviceProgram() override { setAccess(L"D:(A;;KA;;;WD)"); }

    void put(const ScratchDevice& device, const std::wstring& name, const RegistryData& data) {
        registry.createKey(effectPropertiesKey(device.id));
        registry.write(effectPropertiesKey(device.id), name, data);
    }
    /// As COM has it.
    void registerEffect(const std::filesystem::path& library = programFolder() / "tovixctl.exe") {
        registry.createKey(classKey() + L"\\InprocServer32");
        registry.write(classKey() + L"\\InprocServer32", L"", textData(library.wstring()));
    }
    [[nodiscard]] static nlohmann::json shown(const ScratchDevice& device) {
        const auto all = nlohmann::json::parse(run(L"devices --json"));
        for (const auto& data : all.at("devices")) {
            if (data.at("id") == encodeUtf8(device.id)) {
                return data;
            }
        }
        return {};
    }

    /// Until the test ends, the device's effect properties have this access list, for everybody.
    void guard(const ScratchDevice& device, const wchar_t* accessList) {
        HKEY hKey = nullptr;
        ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, effectPropertiesKey(device.id).c_str(), 0, KEY_ALL_ACCESS, &hKey);
        m_guarded.reset(hKey);
        setAccess(accessList);
    }

private:
    void setAccess(const wchar_t* text) const {
        void* pDescriptor = nullptr;
        ::ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &pDescriptor, nullptr);
        const LocalMemory<void> owner(pDescriptor);
        ::RegSetKeySecurity(m_guarded.get(), DACL_SECURITY_INFORMATION, pDescriptor);
    }

    RegistryKey m_guarded;
};

TEST_F(DeviceProgram, EachRefusalHasItsStatusAndChangesNothing) {
    expectRefusal(L"attach Laut", 19);
    registerEffect();
    put(firstTwin, effectKey(7), numberData(1));
    expectRefusal(L"attach", 2);
    expectRefusal(L"attach Laut --all", 2);
    expectRefusal(L"attach Laut --hold", 2);
    expectRefusal(L"devices --hold", 2);
    expectRefusal(L"attach Nobody", 16);
    expectRefusal(L"detach Nobody", 16);
    expectRefusal(L"attach twin", 17);
    expectRefusal(L"attach " + firstTwin.id, 12);
    expectRefusal(L"attach --all", 12);
    expectRefusal(L"attach Laut", 10, ordinaryToken().get());
    expectRefusal(L"attach Laut --restart-audio", 18);
    EXPECT_TRUE(shown(firstTwin).at("rows").at(0).at("classes").is_null());
    guard(ours, L"D:P(A;;KR;;;WD)");
    expectRefusal(L"attach Laut", 11);
}

TEST_F(DeviceProgram, AttachesShowsRepairsAndDetaches) {
    registerEffect();
    const auto before = state();
    const auto dry = nlohmann::json::parse(run(L"attach Laut --dry-run --json"));
    EXPECT_EQ(dry.at("changes").size(), 3U) << dry;
    EXPECT_EQ(dry.at("changes").at(0).at("name"), encodeUtf8(keptEffectKey)) << "before the rest";
    EXPECT_EQ(state(), before);

    run(L"attach \"lautsprecher \x00DC\"");
    const auto attached = shown(ours);
    EXPECT_EQ(attached.at("attached"), encodeUtf8(effectKey(7))) << attached;
    EXPECT_EQ(attached.at("state"), "active");
    EXPECT_EQ(attached.at("replaced").at("class"), encodeUtf8(vendorClass));
    EXPECT_TRUE(shown(firstTwin).at("attached").is_null());
    EXPECT_NE(run(L"devices", 0, ordinaryToken().get()).find("Tovix is attached in"), std::string::npos);
    EXPECT_NE(run(L"attach Laut").find("Nothing to do."), std::string::npos);

    run(L"attach --all");
    EXPECT_TRUE(shown(unplugged).at("attached").is_null());
    run(L"attach Unplugged");
    EXPECT_EQ(shown(unplugged).at("rows").at(0).at("classes").size(), 2U);
    put(ours, effectKey(7), textData(otherClass));
    EXPECT_EQ(shown(ours).at("needsRepair"), true);
    EXPECT_NE(run(L"repair").find("put there"), std::string::npos);
    put(ours, effectKey(7), textData(vendorClass));
    run(L"detach " + firstTwin.id);
    EXPECT_TRUE(shown(firstTwin).at("attached").is_null());
    run(L"detach --all");
    EXPECT_EQ(state(), before);
}

TEST_F(DeviceProgram, ACommandFirstTakesBackWhatAnInterruptedOneHasDone) {
    registerEffect();
    const auto before = state();
    registry.createKey(deviceKey(ours.id) + L"\\Made");
    const std::wstring journal = std::wstring(productKey) + L"\\Changes";
    registry.createKey(journal);
    nlohmann::json made{{"what", "key"}, {"key", encodeUtf8(deviceKey(ours.id) + L"\\Made")}, {"comes", true}};
    const nlohmann::json current{{"state", "making"}, {"changes", {made}}, {"records", nlohmann::json::object()}};
    registry.write(journal, L"current", textData(decodeUtf8(current.dump())));
    EXPECT_NE(run(L"devices --json").find(R"("interrupted":true)"), std::string::npos);
    run(L"repair");
    EXPECT_EQ(state(), before);
}

TEST_F(DeviceProgram, OneThatMayNotBeReadKeepsNoOtherFromBeingShownAndAttached) {
    registerEffect();
    put(firstTwin, effectKey(7), textData(vendorClass));
    guard(firstTwin, L"D:P");
    EXPECT_NE(run(L"devices", 0, ordinaryToken().get()).find("Tovix Test"), std::string::npos);
    run(L"attach Laut");
    EXPECT_FALSE(shown(ours).at("attached").is_null());
}

TEST_F(DeviceProgram, ThePlanThatAMissingLibraryStopsIsTold) {
    registerEffect();
    run(L"attach Laut");
    put(ours, enhancementsOffKey, numberData(1));
    registerEffect(L"C:\\missing\\Tovix64.dll");
    const auto before = state();
    EXPECT_NE(run(L"repair", 19).find("enhancements are off"), std::string::npos);
    EXPECT_EQ(state(), before);
}

class InstallProgram : public MachineProgram {
protected:
    static std::filesystem::path folder() { return root() / L"Tovix"; }
    static std::filesystem::path library() { return folder() / libraryName; }
    static std::wstring installTo(const std::filesystem::path& target) {
        return L"install --to \"" + target.wstring() + L"\"";
    }
    /// Starts a command of Wine's host on a file; false where there is no such host.
    static bool runOnHost(const wchar_t* program, const std::wstring& arguments, const std::wstring& file) {
        const std::wstring hostName = std::filesystem::path(file).generic_wstring().substr(2);
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
