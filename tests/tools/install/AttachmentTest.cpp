#include "install/Attachment.h"

#include "install/InstallRefusal.h"
#include "tools/install/ScratchDevice.h"

#include <gtest/gtest.h>

#include <functional>

namespace tovix::test {
namespace {

using namespace install;

using Values = std::vector<std::pair<std::wstring, RegistryData>>;

RegistryData bytesOf(DWORD type, const std::wstring& text) {
    const auto* const pBegin = reinterpret_cast<const BYTE*>(text.data());
    return {.type = type, .bytes = {pBegin, pBegin + text.size() * sizeof(wchar_t)}};
}

/// A machine with one device.
class AttachmentTest : public testing::Test {
protected:
    AttachmentTest() { device.putInto(machine.registry); }

    void put(const Values& values) {
        for (const auto& [name, data] : values) {
            machine.put(properties(), name, data);
        }
    }
    void removeProperties() {
        for (const auto& name : machine.registry.valuesOf(properties())) {
            machine.registry.remove(properties(), name);
        }
        machine.registry.removeKey(properties());
    }
    [[nodiscard]] std::wstring properties() const { return effectPropertiesKey(device.id); }
    [[nodiscard]] OutputDevice look() const { return readOutputDevice(machine.registry, device.id).value(); }
    [[nodiscard]] ScratchMachine::Registry registry() const { return machine.all().first; }

    MachinePlan attach() { return carryOut(planAttachment(look(), machine.registry, journal)); }
    MachinePlan detach() { return carryOut(planDetachment(device.id, machine.registry, journal)); }
    MachinePlan repair() { return carryOut(planRepair(device.id, machine.registry, journal)); }

    ScratchDevice device;
    ScratchMachine machine;
    ChangeJournal journal{machine.registry};

private:
    MachinePlan carryOut(MachinePlan plan) {
        journal.carryOut(plan.transaction);
        return plan;
    }
};

std::string joined(const std::vector<std::string>& sentences) {
    std::string all;
    for (const auto& sentence : sentences) {
        all += sentence + '\n';
    }
    return all;
}

struct Kind {
    const char* what;
    Values values;
    /// The effect key in which this effect stands when it is attached, and what is kept; then the list there.
    int row;
    std::wstring kept;
    std::vector<std::wstring> classes{tovixClass};
    bool hasProperties = true;
    bool holdsThisEffect = false;
};

std::vector<Kind> kinds() {
    const RegistryData vendor = textData(vendorClass);
    return {
        {"no properties", {}, 7, L"", {tovixClass}, false},
        {"empty properties", {}, 7, L""},
        {"other properties", {{L"{b725f130-47ef-101a-a5f1-02608c9eebac},10", vendor}}, 7, L""},
        {"legacy rows", {{effectKey(1), textData(otherClass)}, {effectKey(2), vendor}}, 2, vendorClass},
        {"a legacy row before the mix", {{effectKey(1), vendor}}, 2, L""},
        {"single rows",
         {{effectKey(2), textData(otherClass)}, {effectKey(7), vendor}, {modesKey(7), listData({otherMode})}},
         7,
         vendorClass},
        {"a single row before the mix", {{effectKey(5), vendor}, {modesKey(5), listData({otherMode})}}, 7, L""},
        {"composite lists",
         {{effectKey(7), textData(otherClass)}, {effectKey(15), listData({vendorClass, otherClass})}},
         15,
         L"",
         {vendorClass, otherClass, tovixClass}},
        {"a composite list before the mix", {{effectKey(14), listData({vendorClass})}}, 15, L""},
        {"this effect in a list already",
         {{effectKey(15), listData({L"{8b1d5c3e-6a47-4f0b-9e52-c7a3d8f41b60}", vendorClass})},
          {modesKey(7), listData({L"{c18e2f7e-933d-4965-b7d1-1eef228d2af3}"})}},
         15,
         L"",
         {L"{8b1d5c3e-6a47-4f0b-9e52-c7a3d8f41b60}", vendorClass},
         true,
         true},
        {"this effect in a key that is not used",
         {{effectKey(7), textData(tovixClass)}, {effectKey(15), listData({vendorClass})}},
         15,
         L"",
         {vendorClass, tovixClass},
         true,
         true},
        {"enhancements off", {{enhancementsOffKey, numberData(1)}, {effectKey(7), vendor}}, 7, vendorClass},
        {"enhancements on", {{enhancementsOffKey, numberData(0)}}, 7, L""},
        {"a text without its terminator", {{effectKey(7), bytesOf(REG_SZ, vendorClass)}}, 7, vendorClass},
        {"a text with more of them",
         {{effectKey(7), bytesOf(REG_SZ, std::wstring(vendorClass) + std::wstring(3, L'\0'))},
          {modesKey(7), bytesOf(REG_MULTI_SZ, otherMode)}},
         7,
         vendorClass},
        {"texts that are no class",
         {{effectKey(7), textData(L"{00000000-0000-0000-0000-000000000000}")}, {effectKey(15), listData({})}},
         7,
         L""},
        {"names in capitals, and another's kept class",
         {{L"{D04E05A6-594B-4FB6-A80D-01AF5EED7D1D},7", vendor}, {std::wstring(keptEffectKey), textData(otherClass)}},
         7,
         vendorClass},
    };
}

TEST_F(AttachmentTest, DetachingPutsBackWhateverKindOfDeviceThereWas) {
    for (const Kind& kind : kinds()) {
        SCOPED_TRACE(kind.what);
        put(kind.values);
        if (kind.hasProperties) {
            machine.makeKeys(properties());
        }
        const auto before = registry();
        static_cast<void>(planAttachment(look(), machine.registry, journal));
        EXPECT_EQ(registry(), before) << "by planning";

        attach();
        const OutputDevice attached = look();
        ASSERT_TRUE(attached.effects.attachedRow());
        const EffectRow row = *attached.effects.attachedRow();
        EXPECT_EQ(row.pKey->key, effectKey(kind.row));
        EXPECT_EQ(row.classes, kind.classes);
        EXPECT_EQ(attached.effects.usedKind(), row.pKey->kind);
        EXPECT_EQ(attached.effects.keptClass(), kind.kept);
        EXPECT_FALSE(attached.effects.areEnhancementsOff());
        if (!row.pKey->modesKey.empty()) {
            const auto modes = textsOf(attached.effects.get(modesKey(7)).value()).value();
            EXPECT_TRUE(isSameText(modes.back(), defaultMode));
        }
        const auto after = registry();
        EXPECT_TRUE(attach().isEmpty());
        EXPECT_TRUE(repair().isEmpty());
        EXPECT_EQ(registry(), after) << "the second time";

        EXPECT_EQ(joined(detach().notes).empty(), !kind.holdsThisEffect);
        EXPECT_EQ(registry(), before);
        EXPECT_TRUE(detach().isEmpty());
        removeProperties();
    }
}

TEST_F(AttachmentTest, AValueOfAnotherTypeIsRefusedAndNothingChanged) {
    const Values foreign{{effectKey(7), numberData(1)},
                         {effectKey(7), listData({vendorClass})},
                         {effectKey(7), {.type = REG_SZ, .bytes = {1, 2, 3}}},
                         {effectKey(1), {.type = REG_BINARY, .bytes = {}}},
                         {effectKey(15), textData(vendorClass)},
                         {modesKey(7), textData(otherMode)},
                         {enhancementsOffKey, textData(L"1")},
                         {std::wstring(keptEffectKey), numberData(1)}};
    for (const auto& [name, data] : foreign) {
        put({{name, data}});
        const auto before = registry();
        try {
            attach();
            ADD_FAILURE() << "was attached";
        } catch (const InstallRefusal& refusal) {
            EXPECT_EQ(refusal.status(), Obstacle::foreignType) << refusal.what();
        }
        EXPECT_EQ(registry(), before);
        removeProperties();
    }
}

/// What happens to a device that is attached, and what is done then.
struct Event {
    const char* what;
    std::function<void()> happens;
    const char* finding;
    /// What a device without the effect would have afterwards.
    Values without;
    /// Whether detaching at once, without repair, has something to say.
    bool isNoted = true;
};

TEST_F(AttachmentTest, RepairingKeepsWhatTheDeviceWouldHaveWithout) {
    const Values installed{{effectKey(7), textData(vendorClass)}, {modesKey(7), listData({otherMode})}};
    const Values renewed{{effectKey(7), textData(otherClass)}, {modesKey(7), listData({otherMode, defaultMode})}};
    const Values renewedToLists{{effectKey(15), listData({otherClass})}, {enhancementsOffKey, numberData(1)}};
    const auto with = [](Values values, const std::wstring& name, const RegistryData& data) {
        std::erase_if(values, [&](const auto& value) { return value.first == name; });
        values.emplace_back(name, data);
        return values;
    };
    const auto rebuild = [this](const Values& values) {
        removeProperties();
        put(values);
    };
    const Event events[] = {
        {"a driver rebuilds the properties", [&] { rebuild(renewed); }, "have been rebuilt", renewed},
        {"a driver rebuilds them as lists", [&] { rebuild(renewedToLists); }, "enhancements are off", renewedToLists},
        {"a driver removes them", [&] { removeProperties(); }, "have been rebuilt", {}},
        {"another class overwrites this one",
         [&] {
             put({{effectKey(7), textData(otherClass)}});
         },
         "Tovix does not stand in", with(installed, effectKey(7), textData(otherClass))},
        {"lists come beside the keys",
         [&] {
             put({{effectKey(15), listData({otherClass})}});
         },
         "which the device does not use", with(installed, effectKey(15), listData({otherClass})), false},
        {"the engine switches enhancements off",
         [&] {
             put({{enhancementsOffKey, numberData(1)}});
         },
         "enhancements are off", installed},
        {"another mode replaces the modes",
         [&] {
             put({{modesKey(7), listData({vendorClass})}});
         },
         "the default processing mode", with(installed, modesKey(7), listData({vendorClass}))},
    };
    for (const Event& event : events) {
        SCOPED_TRACE(event.what);
        put(event.without);
        if (event.without.empty()) { // no key either
            EXPECT_FALSE(look().hasEffectProperties);
        }
        const auto without = registry();
        removeProperties();

        put(installed);
        attach();
        event.happens();
        const auto found = repair();
        EXPECT_NE(joined(found.sentences).find(event.finding), std::string::npos) << joined(found.sentences);
        const auto repaired = look().effects;
        ASSERT_TRUE(repaired.attachedRow());
        EXPECT_EQ(repaired.attachedRow()->pKey->kind, repaired.usedKind());
        EXPECT_FALSE(repaired.areEnhancementsOff());
        EXPECT_TRUE(repair().isEmpty());
        EXPECT_EQ(joined(detach().notes), "");
        EXPECT_EQ(registry(), without);
        removeProperties();

        put(installed);
        attach();
        event.happens();
        EXPECT_EQ(joined(detach().notes).empty(), !event.isNoted) << "without repair";
        EXPECT_FALSE(look().effects.attachedRow());
        EXPECT_TRUE(journal.names().empty());
        removeProperties();
    }
}

TEST_F(AttachmentTest, AListThatHasGrownSinceLosesThisEffectAlone) {
    put({{effectKey(15), listData({vendorClass})}});
    attach();
    put({{effectKey(15), listData({vendorClass, tovixClass, otherClass})}, {enhancementsOffKey, numberData(1)}});
    const auto notes = joined(detach().notes);
    EXPECT_NE(notes.find("but for Tovix's class"), std::string::npos) << notes;
    EXPECT_EQ(look().effects.get(effectKey(15)), listData({vendorClass, otherClass}));
    EXPECT_TRUE(look().effects.areEnhancementsOff()) << "that somebody has switched off since";
}

TEST_F(AttachmentTest, TheRecordOfADeviceThatIsGoneIsDropped) {
    attach();
    removeProperties();
    const auto key = deviceKey(device.id);
    for (const auto& name : machine.registry.valuesOf(key + L"\\Properties")) {
        machine.registry.remove(key + L"\\Properties", name);
    }
    machine.registry.removeKey(key + L"\\Properties");
    machine.registry.remove(key, L"DeviceState");
    machine.registry.removeKey(key);
    EXPECT_NE(joined(planRepair(device.id, machine.registry, journal).notes).find("is gone"), std::string::npos);
    EXPECT_NE(joined(detach().notes).find("is gone"), std::string::npos);
    EXPECT_TRUE(journal.names().empty());
}

} // namespace
} // namespace tovix::test
