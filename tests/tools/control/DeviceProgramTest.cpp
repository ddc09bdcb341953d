// tovixctl on output devices, as a process.

#include "support/OrdinaryToken.h"
#include "text/Utf.h"
#include "tools/control/MachineProgram.h"

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
};

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
    const GuardedKey readOnly(effectPropertiesKey(ours.id), L"D:P(A;;KR;;;WD)");
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
    EXPECT_TRUE(attached.at("replaced").at("name").is_null());
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
    const GuardedKey forbidden(effectPropertiesKey(firstTwin.id), L"D:P");
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

} // namespace
} // namespace tovix::test
