// tovixctl as a process, on output devices that the test enters into the machine's own registry.

#include "install/ChangeJournal.h"
#include "support/ChildProcess.h"
#include "support/OrdinaryToken.h"
#include "system/WinHandles.h"
#include "tools/install/ScratchDevice.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sddl.h>

namespace tovix::test {
namespace {

using namespace install;

const ScratchDevice ours{L"{0D000000-0000-4000-8000-000000000001}", L"Lautsprecher \x00FC", L"Tovix Test", 1};
const ScratchDevice firstTwin{L"{0D000000-0000-4000-8000-000000000002}", L"Twin", L"Tovix Test", 1};
const ScratchDevice secondTwin{L"{0D000000-0000-4000-8000-000000000003}", L"Twin", L"Tovix Test", 1};
const ScratchDevice unplugged{L"{0D000000-0000-4000-8000-000000000004}", L"Unplugged", L"Tovix Test", 8};

class DeviceProgram : public testing::Test {
protected:
    DeviceProgram() {
        for (const auto& device : {ours, firstTwin, secondTwin, unplugged}) {
            device.putInto(machine);
        }
        put(ours, effectKey(7), textData(vendorClass));
        put(unplugged, effectKey(15), listData({vendorClass}));
    }
    ~DeviceProgram() override {
        for (const auto& device : {ours, firstTwin, secondTwin, unplugged}) {
            ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, deviceKey(device.id).c_str());
        }
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, classKey().c_str());
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, (std::wstring(productKey) + L"\\Changes").c_str());
    }

    static std::wstring classKey() { return std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + tovixClass; }
    void put(const ScratchDevice& device, const std::wstring& name, const RegistryData& data) {
        machine.createKey(effectPropertiesKey(device.id));
        machine.write(effectPropertiesKey(device.id), name, data);
    }
    /// As COM has it, with a library that is there.
    void registerEffect() {
        machine.createKey(classKey() + L"\\InprocServer32");
        machine.write(classKey() + L"\\InprocServer32", L"", textData((programFolder() / "tovixctl.exe").wstring()));
    }
    [[nodiscard]] ScratchMachine::Registry devices() const {
        ScratchMachine::Registry all;
        collect(machine, outputDevicesKey, all);
        return all;
    }
    /// Runs tovixctl; its standard output.
    std::string control(const std::wstring& arguments, DWORD expectedStatus = 0, HANDLE hToken = nullptr) {
        ChildProcess program({.program = programFolder() / "tovixctl.exe", .arguments = arguments, .hToken = hToken});
        std::string output = program.rest();
        EXPECT_EQ(program.finish(), expectedStatus) << std::filesystem::path(arguments).string() << "\n" << output;
        return output;
    }
    [[nodiscard]] nlohmann::json shown(const ScratchDevice& device) {
        const auto all = nlohmann::json::parse(control(L"devices --json"));
        for (const auto& data : all.at("devices")) {
            if (data.at("id") == std::filesystem::path(device.id).string()) {
                return data;
            }
        }
        return {};
    }

    RegistryTree machine = RegistryTree::machine();
};

constexpr const wchar_t* readOnly = L"D:P(A;;KR;;;WD)";
constexpr const wchar_t* forbidden = L"D:P";

/// While it lives a key of the machine has this access list, for everybody.
class GuardedKey {
public:
    GuardedKey(const std::wstring& key, const wchar_t* accessList) {
        HKEY hKey = nullptr;
        ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_ALL_ACCESS, &hKey);
        m_key.reset(hKey);
        setAccess(accessList);
    }
    ~GuardedKey() { setAccess(L"D:(A;;KA;;;WD)"); }

private:
    void setAccess(const wchar_t* text) const {
        void* pDescriptor = nullptr;
        ::ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &pDescriptor, nullptr);
        const LocalMemory<void> owner(pDescriptor);
        ::RegSetKeySecurity(m_key.get(), DACL_SECURITY_INFORMATION, pDescriptor);
    }

    RegistryKey m_key;
};

TEST_F(DeviceProgram, EachRefusalHasItsStatusAndChangesNothing) {
    const auto before = devices();
    control(L"attach Laut", 19);
    registerEffect();
    put(firstTwin, effectKey(7), numberData(1));
    const auto foreign = devices();
    control(L"attach", 2);
    control(L"attach Laut --all", 2);
    control(L"attach Laut --hold", 2);
    control(L"devices --hold", 2);
    control(L"attach Nobody", 16);
    control(L"detach Nobody", 16);
    control(L"attach twin", 17);
    control(L"attach " + firstTwin.id, 12);
    control(L"attach --all", 12);
    control(L"attach Laut", 10, ordinaryToken().get());
    control(L"attach Laut --restart-audio", 18);
    {
        const GuardedKey guarded(effectPropertiesKey(ours.id), readOnly);
        control(L"attach Laut", 11);
    }
    EXPECT_EQ(devices(), foreign);
    EXPECT_FALSE(machine.hasKey(std::wstring(productKey) + L"\\Changes")) << "by what was refused half-way";
    EXPECT_TRUE(shown(firstTwin).at("rows").at(0).at("classes").is_null());
    machine.remove(effectPropertiesKey(firstTwin.id), effectKey(7));
    machine.removeKey(effectPropertiesKey(firstTwin.id));
    EXPECT_EQ(devices(), before);
}

TEST_F(DeviceProgram, AttachesShowsRepairsAndDetaches) {
    registerEffect();
    const auto before = devices();
    const auto dry = nlohmann::json::parse(control(L"attach Laut --dry-run --json"));
    EXPECT_EQ(dry.at("changes").size(), 3U) << dry;
    EXPECT_EQ(dry.at("changes").at(0).at("name"), std::filesystem::path(keptEffectKey).string()) << "before the rest";
    EXPECT_EQ(devices(), before);

    control(L"attach \"lautsprecher \x00DC\"");
    const auto attached = shown(ours);
    EXPECT_EQ(attached.at("attached"), std::filesystem::path(effectKey(7)).string()) << attached;
    EXPECT_EQ(attached.at("state"), "active");
    EXPECT_EQ(attached.at("replaced").at("class"), std::filesystem::path(vendorClass).string());
    EXPECT_TRUE(attached.at("replaced").at("name").is_null());
    EXPECT_TRUE(shown(firstTwin).at("attached").is_null());
    EXPECT_NE(control(L"devices", 0, ordinaryToken().get()).find("Tovix is attached in"), std::string::npos);
    EXPECT_NE(control(L"attach Laut").find("Nothing to do."), std::string::npos);

    control(L"attach --all");
    EXPECT_TRUE(shown(unplugged).at("attached").is_null());
    control(L"attach Unplugged");
    EXPECT_EQ(shown(unplugged).at("rows").at(0).at("classes").size(), 2U);
    put(ours, effectKey(7), textData(otherClass));
    EXPECT_EQ(shown(ours).at("needsRepair"), true);
    EXPECT_NE(control(L"repair").find("put there"), std::string::npos);
    put(ours, effectKey(7), textData(vendorClass));
    control(L"detach " + firstTwin.id);
    EXPECT_TRUE(shown(firstTwin).at("attached").is_null());
    const std::wstring journal = std::wstring(productKey) + L"\\Changes";
    machine.write(journal, L"current", textData(LR"({"state": "making", "changes": [], "records": {}})"));
    EXPECT_NE(control(L"devices --json").find(R"("interrupted":true)"), std::string::npos);
    control(L"detach --all");
    EXPECT_EQ(devices(), before);
    EXPECT_FALSE(machine.hasKey(journal));
}

TEST_F(DeviceProgram, OneThatMayNotBeReadKeepsNoOtherFromBeingShownAndAttached) {
    registerEffect();
    put(firstTwin, effectKey(7), textData(vendorClass));
    const GuardedKey guarded(effectPropertiesKey(firstTwin.id), forbidden);
    EXPECT_NE(control(L"devices", 0, ordinaryToken().get()).find("Tovix Test"), std::string::npos);
    control(L"attach Laut");
    EXPECT_FALSE(shown(ours).at("attached").is_null());
}

TEST_F(DeviceProgram, ThePlanThatAMissingLibraryStopsIsTold) {
    registerEffect();
    control(L"attach Laut");
    put(ours, enhancementsOffKey, numberData(1));
    machine.write(classKey() + L"\\InprocServer32", L"", textData(L"C:\\missing\\Tovix64.dll"));
    const auto before = devices();
    EXPECT_NE(control(L"repair", 19).find("enhancements are off"), std::string::npos);
    EXPECT_EQ(devices(), before);
}

} // namespace
} // namespace tovix::test
