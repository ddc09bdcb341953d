#include "install/Attachment.h"

#include "tools/RefusalOf.h"
#include "tools/install/ScratchMachine.h"

#include <gtest/gtest.h>

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
    void removeKey(const std::wstring& key) {
        for (const auto& name : machine.registry.valuesOf(key)) {
            machine.registry.remove(key, name);
        }
        machine.registry.removeKey(key);
    }
    void removeProperties() { removeKey(properties()); }
    [[nodiscard]] std::wstring properties() const { return effectPropertiesKey(device.id); }
    [[nodiscard]] OutputDevice look() const { return readOutputDevice(machine.registry, device.id).value(); }
    [[nodiscard]] RegistryState registry() const { return machine.all().first; }

    [[nodiscard]] MachinePlan plannedAttachment() const {
        return planAttachment(look(), machine.registry, machine.journal);
    }
    [[nodiscard]] MachinePlan plannedDetachment() const {
        return planDetachment(device.id, machine.registry, machine.journal);
    }
    [[nodiscard]] MachinePlan plannedRepair() const {
        return planRepair(device.id, machine.registry, machine.journal);
    }
    void attach() { machine.carryOut(plannedAttachment()); }
    std::vector<std::string> notesOfDetaching() { return machine.carryOut(plannedDetachment()).notes; }

    ScratchDevice device;
    ScratchMachine machine;
};

struct Kind {
    const char* what;
    Values values;
    /// The effect key in which this effect stands when it is attached, and what is kept; then the list there.
    struct {
        int row = 7;
        std::wstring kept{};
        std::vector<std::wstring> classes{tovixClass};
    } attached{};
    bool holdsThisEffect = false;
    bool hasProperties = true;
};

std::vector<Kind> kinds() {
    const RegistryData vendor = textData(vendorClass);
    const std::wstring smallTovixClass = L"{8b1d5c3e-6a47-4f0b-9e52-c7a3d8f41b60}";
    return {
        {.what = "no properties", .values = {}, .hasProperties = false},
        {"empty properties", {}},
        {"other properties", {{L"{b725f130-47ef-101a-a5f1-02608c9eebac},10", vendor}}},
        {"legacy rows", {{effectKey(1), textData(otherClass)}, {effectKey(2), vendor}}, {2, vendorClass}},
        {"a legacy row before the mix", {{effectKey(1), vendor}}, {2}},
        {"single rows", {{effectKey(2), textData(otherClass)}, {effectKey(7), vendor}}, {7, vendorClass}},
        {"a single row before the mix", {{effectKey(5), vendor}, {modesKey(5), listData({otherMode})}}},
        {"composite lists",
         {{effectKey(7), textData(otherClass)}, {effectKey(15), listData({vendorClass, otherClass})}},
         {15, L"", {vendorClass, otherClass, tovixClass}}},
        {"a composite list before the mix", {{effectKey(14), listData({vendorClass})}}, {15}},
        {"this effect in a list already",
         {{effectKey(15), listData({smallTovixClass, vendorClass})},
          {modesKey(7), listData({L"{c18e2f7e-933d-4965-b7d1-1eef228d2af3}"})}},
         {15, L"", {smallTovixClass, vendorClass}},
         true},
        {"this effect in a key that is not used",
         {{effectKey(7), textData(tovixClass)}, {effectKey(15), listData({vendorClass})}},
         {15, L"", {vendorClass, tovixClass}},
         true},
        {"enhancements off", {{enhancementsOffKey, numberData(1)}, {effectKey(7), vendor}}, {7, vendorClass}},
        {"enhancements on", {{enhancementsOffKey, numberData(0)}}},
        {"a text without its terminator", {{effectKey(7), bytesOf(REG_SZ, vendorClass)}}, {7, vendorClass}},
        {"a text with more of them",
         {{effectKey(7), bytesOf(REG_SZ, std::wstring(vendorClass) + std::wstring(3, L'\0'))},
          {modesKey(7), bytesOf(REG_MULTI_SZ, otherMode)}},
         {7, vendorClass}},
        {"texts that are no class",
         {{effectKey(7), textData(L"{00000000-0000-0000-0000-000000000000}")}, {effectKey(15), listData({})}}},
        {"names in capitals, and another's kept class",
         {{L"{D04E05A6-594B-4FB6-A80D-01AF5EED7D1D},7", vendor}, {std::wstring(keptEffectKey), textData(otherClass)}},
         {7, vendorClass}},
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
        machine.expectAllOrNothing([this] { return plannedAttachment(); }, [this] { notesOfDetaching(); });

        const OutputDevice attached = look();
        ASSERT_TRUE(attached.effects.attachedRow());
        const EffectRow row = *attached.effects.attachedRow();
        EXPECT_EQ(row.pKey->key, effectKey(kind.attached.row));
        EXPECT_EQ(row.classes, kind.attached.classes);
        EXPECT_EQ(attached.effects.usedKind(), row.pKey->kind);
        EXPECT_EQ(attached.effects.keptClass(), kind.attached.kept);
        EXPECT_FALSE(attached.effects.areEnhancementsOff());
        if (!row.pKey->modesKey.empty()) {
            const auto modes = textsOf(attached.effects.get(modesKey(7)).value()).value();
            EXPECT_TRUE(isSameText(modes.back(), defaultMode));
        }
        EXPECT_TRUE(plannedAttachment().isEmpty());
        EXPECT_TRUE(plannedRepair().isEmpty());

        EXPECT_EQ(plannedDetachment().notes.empty(), !kind.holdsThisEffect);
        machine.expectAllOrNothing([this] { return plannedDetachment(); }, [this] { attach(); });
        EXPECT_EQ(registry(), before);
        EXPECT_TRUE(plannedDetachment().isEmpty());
        removeProperties();
    }
}

TEST_F(AttachmentTest, AValueOfAnotherTypeIsRefused) {
    const Values foreign{{effectKey(7), numberData(1)},
                         {effectKey(7), listData({vendorClass})},
                         {effectKey(7), {.type = REG_SZ, .bytes = {1, 2, 3}}},
                         {effectKey(1), {.type = REG_BINARY, .bytes = {}}},
                         {effectKey(15), textData(vendorClass)},
                         {modesKey(7), textData(otherMode)},
                         {enhancementsOffKey, textData(L"1")},
                         {std::wstring(keptEffectKey), numberData(1)}};
    for (const auto& value : foreign) {
        put({value});
        expectRefusal([this] { static_cast<void>(plannedAttachment()); }, Obstacle::foreignType);
        removeProperties();
    }
}

/// What happens to a device that is attached, and what is done then.
struct Event {
    const char* what;
    /// Values that are put there, after all others are gone where a driver rebuilds them.
    Values comes;
    const char* finding;
    /// What a device without the effect would have afterwards.
    Values without;
    bool isRebuilt = false;
    /// Whether detaching at once, without repair, has something to say.
    bool isNoted = true;
};

TEST_F(AttachmentTest, RepairingKeepsWhatTheDeviceWouldHaveWithout) {
    const std::pair single{effectKey(7), textData(vendorClass)};
    const std::pair overwritten{effectKey(7), textData(otherClass)};
    const std::pair modes{modesKey(7), listData({otherMode})};
    const std::pair otherModes{modesKey(7), listData({vendorClass})};
    const std::pair list{effectKey(15), listData({otherClass})};
    const std::pair off{std::wstring(enhancementsOffKey), numberData(1)};
    const Values installed{single, modes};
    const Values renewed{overwritten, {modesKey(7), listData({otherMode, defaultMode})}};
    const Event events[] = {
        {"a driver rebuilds the properties", renewed, "have been rebuilt", renewed, true},
        {"a driver rebuilds them as lists", {list, off}, "enhancements are off", {list, off}, true},
        {"a driver removes them", {}, "have been rebuilt", {}, true},
        {"another class overwrites this one", {overwritten}, "Tovix does not stand in", {overwritten, modes}},
        {"lists come beside the keys", {list}, "which the device does not use", {single, modes, list}, false, false},
        {"the engine switches enhancements off", {off}, "enhancements are off", installed},
        {"another mode replaces the modes", {otherModes}, "the default processing mode", {single, otherModes}},
    };
    for (const Event& event : events) {
        SCOPED_TRACE(event.what);
        const auto happens = [&] {
            notesOfDetaching();
            removeProperties();
            put(installed);
            attach();
            if (event.isRebuilt) {
                removeProperties();
            }
            put(event.comes);
        };
        put(event.without);
        const auto without = registry();

        happens();
        const std::string found = testing::PrintToString(plannedRepair().sentences);
        EXPECT_NE(found.find(event.finding), std::string::npos) << found;
        machine.expectAllOrNothing([this] { return plannedRepair(); }, happens);
        const auto repaired = look().effects;
        ASSERT_TRUE(repaired.attachedRow());
        EXPECT_EQ(repaired.attachedRow()->pKey->kind, repaired.usedKind());
        EXPECT_FALSE(repaired.areEnhancementsOff());
        EXPECT_TRUE(plannedRepair().isEmpty());
        EXPECT_TRUE(notesOfDetaching().empty());
        EXPECT_EQ(registry(), without);

        happens();
        EXPECT_EQ(notesOfDetaching().empty(), !event.isNoted) << "without repair";
        EXPECT_FALSE(look().effects.attachedRow());
        EXPECT_TRUE(machine.journal.names().empty());
        removeProperties();
    }
}

TEST_F(AttachmentTest, AListThatHasGrownSinceLosesThisEffectAlone) {
    put({{effectKey(15), listData({vendorClass})}});
    attach();
    put({{effectKey(15), listData({vendorClass, tovixClass, otherClass})}, {enhancementsOffKey, numberData(1)}});
    const auto notes = testing::PrintToString(notesOfDetaching());
    EXPECT_NE(notes.find("but for Tovix's class"), std::string::npos) << notes;
    EXPECT_EQ(look().effects.get(effectKey(15)), listData({vendorClass, otherClass}));
    EXPECT_TRUE(look().effects.areEnhancementsOff()) << "that somebody has switched off since";
}

TEST_F(AttachmentTest, TheRecordOfADeviceThatIsGoneIsDropped) {
    attach();
    const auto key = deviceKey(device.id);
    for (const auto& gone : {properties(), key + L"\\Properties", key}) {
        removeKey(gone);
    }
    EXPECT_NE(testing::PrintToString(plannedRepair().notes).find("is gone"), std::string::npos);
    EXPECT_NE(testing::PrintToString(notesOfDetaching()).find("is gone"), std::string::npos);
    EXPECT_TRUE(machine.journal.names().empty());
}

} // namespace
} // namespace tovix::test
