#include "install/Installation.h"

#include "apo/RegistrationRecord.h"
#include "install/Attachment.h"
#include "install/EffectRegistration.h"
#include "install/Removal.h"
#include "module/Registration.h"
#include "platform/ApoRegistration.h"
#include "support/EnvironmentVariable.h"
#include "system/RegistryUtils.h"
#include "tools/RefusalOf.h"
#include "tools/install/ScratchMachine.h"

#include <gtest/gtest.h>

namespace tovix::test {
namespace {

using namespace install;

class InstallationTest : public testing::Test {
protected:
    InstallationTest() {
        machine.makeKeys(L"SOFTWARE\\Classes\\CLSID");
        std::filesystem::create_directory(package.path() / L"logger");
        putContent(package.path() / libraryName, "library 1");
        putContent(package.path() / L"logger" / loggerName, "logger 1");
        before = machine.all();
    }

    [[nodiscard]] std::filesystem::path folder() const { return machine.folder.path() / L"Programs" / L"Tovix"; }
    [[nodiscard]] InstallationWish wish(bool allowUnsigned = false, bool withLogger = false) const {
        return {
            .package = package.path(), .folder = folder(), .withLogger = withLogger, .allowUnsigned = allowUnsigned};
    }

    [[nodiscard]] MachinePlan planned(const InstallationWish& wished) const {
        return planInstallation(wished, machine.registry, machine.journal);
    }
    [[nodiscard]] MachinePlan plannedRepair() const {
        return planInstallationRepair(package.path(), machine.registry, machine.journal);
    }
    [[nodiscard]] MachinePlan plannedRemoval() const { return planRemoval(machine.registry, machine.journal); }
    void install(const InstallationWish& wished) { machine.carryOut(planned(wished)); }
    MachinePlan uninstall() { return machine.carryOut(plannedRemoval()); }
    std::optional<RegistryData> protection() { return machine.registry.read(protectionKey, protectionValue); }
    void setProtection(const RegistryData& data) { machine.put(protectionKey, protectionValue, data); }

    ScratchMachine machine;
    TemporaryFolder package;
    /// Where the logger writes, and an uninstallation looks for what it has written.
    TemporaryFolder logs;
    EnvironmentVariable programData{L"ProgramData", logs.path().wstring()};
    std::pair<RegistryState, FolderState> before;
};

TEST_F(InstallationTest, ComesOnceAndGoesWithoutATrace) {
    const std::pair<bool, std::optional<RegistryData>> cases[] = {
        {false, {}}, {true, {}}, {true, numberData(0)}, {true, numberData(1)}};
    for (const auto& [allowUnsigned, protectionBefore] : cases) {
        for (const bool withLogger : {false, true}) {
            if (protectionBefore) {
                setProtection(*protectionBefore);
            }
            before = machine.all();
            const auto wished = wish(allowUnsigned, withLogger);
            install(wished);
            EXPECT_EQ(test::contentOf(folder() / libraryName), "library 1");
            EXPECT_EQ(test::contentOf(folder() / loggerName), withLogger ? "logger 1" : "");
            EXPECT_EQ(protection(), allowUnsigned ? std::optional(numberData(1)) : protectionBefore);
            EXPECT_TRUE(planned(wished).isEmpty());
            EXPECT_TRUE(planned(wish()).isEmpty()) << "what is not asked for again stays";

            std::filesystem::create_directory(logs.path() / L"Tovix");
            putContent(logs.path() / L"Tovix" / L"Tovix.log", "a line");
            machine.put(productKey, L"MLS", numberData(5));
            machine.put(productKey, L"EnableOldApo", numberData(1));
            uninstall();
            EXPECT_EQ(machine.all(), before);
            EXPECT_EQ(std::filesystem::exists(logs.path() / L"Tovix"), !withLogger);
            EXPECT_TRUE(plannedRemoval().isEmpty());
        }
    }
}

TEST_F(InstallationTest, ReplacesAnEarlierOneAndRemembersWhatWasBeforeIt) {
    setProtection(numberData(0));
    const auto beforeFirst = machine.all();
    install(wish(true, true));
    putContent(package.path() / libraryName, "library 2");
    putContent(package.path() / L"logger" / loggerName, "logger 2");
    install(wish());
    EXPECT_EQ(test::contentOf(folder() / libraryName), "library 2");
    EXPECT_EQ(test::contentOf(folder() / loggerName), "logger 2");

    const auto installTo = [this](const wchar_t* name, const wchar_t* nameBelow) {
        auto wished = wish();
        wished.folder = machine.folder.path() / name / nameBelow;
        install(wished);
    };
    installTo(L"PROGRAMS", L"tovix");
    EXPECT_EQ(test::contentOf(folder() / libraryName), "library 2") << "the same folder by another name";
    installTo(L"Else", L"where");
    EXPECT_FALSE(std::filesystem::exists(folder().parent_path()));
    EXPECT_EQ(test::contentOf(installedLibrary(machine.journal)), "library 2");
    uninstall();
    EXPECT_EQ(machine.all(), beforeFirst);
}

TEST_F(InstallationTest, TakesOverWhatWasRegisteredByHand) {
    const std::wstring entry = std::wstring(L"SOFTWARE\\Classes\\") + apoListKey + L'\\' + classIdText(effectClassId);
    machine.makeKeys(entry.substr(0, entry.find_last_of(L'\\')));
    std::filesystem::create_directories(folder());
    before = machine.all();
    for (const auto& value : classValues(L"C:\\by hand\\Tovix64.dll")) {
        machine.put(value.key, value.name, textData(value.text));
    }
    machine.put(entry, L"Stale", numberData(1));
    machine.put(entry, L"Flags", textData(L"of another type"));
    putContent(folder() / libraryName, "library 0");
    install(wish());
    EXPECT_FALSE(machine.registry.read(entry, L"Stale"));
    EXPECT_EQ(machine.registry.read(entry, L"Flags"), numberData(registrationRecord.Flags));
    uninstall();
    EXPECT_EQ(machine.all(), before);
}

TEST_F(InstallationTest, WhatSomebodyHasChangedSinceIsLeftAloneAndNamed) {
    install(wish(true));
    const auto values = classValues(L"C:\\another's\\Tovix64.dll");
    const auto& server = values.at(1);
    machine.registry.write(server.key, server.name, textData(server.text));
    machine.registry.remove(values.front().key, values.front().name);
    machine.put(values.front().key, L"another's", numberData(7));
    setProtection(numberData(2));
    putContent(folder() / libraryName, "another's");
    putContent(folder() / L"another's", "");
    EXPECT_EQ(uninstall().notes.size(), 3U);
    EXPECT_EQ(machine.registry.read(server.key, server.name), textData(server.text));
    EXPECT_EQ(machine.registry.valuesOf(server.key).size(), 1U);
    EXPECT_EQ(machine.registry.valuesOf(values.front().key), std::vector<std::wstring>{L"another's"});
    EXPECT_EQ(protection(), numberData(2));
    EXPECT_EQ(test::contentOf(folder() / libraryName), "another's");
    EXPECT_TRUE(plannedRemoval().isEmpty());
}

TEST_F(InstallationTest, IsPutRightWhileItsLibraryIsThereOrInThePackage) {
    EXPECT_THROW(requireInstalled(machine.registry), InstallRefusal);
    EXPECT_TRUE(plannedRepair().obstacle);
    setProtection(numberData(0));
    before = machine.all();
    install(wish(true));
    const auto installed = machine.all();
    EXPECT_TRUE(plannedRepair().isEmpty());

    const auto values = classValues(L"C:\\another.dll");
    const auto& server = values.at(1);
    const auto spoil = [&] {
        for (const auto& value : values) {
            machine.registry.remove(value.key, value.name);
        }
        machine.registry.removeKey(server.key);
        machine.registry.removeKey(values.front().key);
        setProtection(numberData(0));
        std::filesystem::remove_all(folder().parent_path());
    };
    spoil();
    EXPECT_THROW(requireInstalled(machine.registry), InstallRefusal);
    putContent(package.path() / libraryName, "library 2");
    EXPECT_TRUE(plannedRepair().obstacle);
    putContent(package.path() / libraryName, "library 1");
    EXPECT_FALSE(plannedRepair().obstacle);
    machine.expectAllOrNothing([this] { return plannedRepair(); }, spoil);
    EXPECT_EQ(machine.all(), installed);
    machine.registry.write(server.key, server.name, textData(server.text));
    EXPECT_THROW(requireInstalled(machine.registry), InstallRefusal) << "no such library";
    machine.carryOut(plannedRepair());
    EXPECT_EQ(machine.all(), installed);
    uninstall();
    EXPECT_EQ(machine.all(), before);
}

TEST_F(InstallationTest, IsAllDoneOrNothingOfItWhereverACommandIsCutOff) {
    const auto former = [this] {
        putContent(package.path() / libraryName, "library 1");
        install(wish(true));
    };
    const auto installs = [this] { return planned(wish(true, true)); };
    const ScratchDevice device;
    device.putInto(machine.registry);
    before = machine.all();
    machine.expectAllOrNothing(installs, [this] { uninstall(); });
    const auto installAndAttach = [&] {
        machine.carryOut(installs());
        const auto found = readOutputDevice(machine.registry, device.id).value();
        machine.carryOut(planAttachment(found, machine.registry, machine.journal));
        machine.put(productKey, L"MLS", numberData(4));
    };
    installAndAttach();
    machine.expectAllOrNothing([this] { return plannedRemoval(); }, installAndAttach);
    EXPECT_EQ(machine.all(), before);
    former();
    const auto upgrades = [&] {
        putContent(package.path() / libraryName, "library 2");
        return installs();
    };
    machine.expectAllOrNothing(upgrades, [&] {
        uninstall();
        former();
    });
}

TEST_F(InstallationTest, AFailingStepTakesBackThoseBeforeIt) {
    install(wish());
    putContent(package.path() / libraryName, "library 2");
    before = machine.all();
    const auto library = folder() / libraryName;
    const auto failing = std::initializer_list<std::pair<MachineChange, Obstacle>>{
        {ValueChange{.key = L"SOFTWARE\\Missing", .name = L"x", .before = {}, .after = numberData(1)},
         Obstacle::registryRefused},
        {ValueChange{.key = protectionKey, .name = protectionValue, .before = {}, .after = numberData(2)},
         Obstacle::registryRefused},
        {FileChange{.file = library, .before = "another content", .after = {}, .source = {}}, Obstacle::fileRefused},
        {FileChange{.file = logs.path() / L"x", .before = {}, .after = "another content", .source = library},
         Obstacle::fileRefused}};
    for (const auto& [change, obstacle] : failing) {
        MachinePlan plan = planned(wish(true, true));
        plan.transaction.changes.push_back(change);
        expectRefusal([&] { machine.carryOut(plan); }, obstacle);
        EXPECT_EQ(machine.all(), before);
        EXPECT_TRUE(std::filesystem::is_empty(logs.path()));
    }
}

TEST_F(InstallationTest, AJournalThatCannotBeReadStopsEverything) {
    for (const auto& data : {textData(L"{\"state\":"), textData(L"{}"), numberData(3), RegistryData{}}) {
        machine.put(std::wstring(productKey) + L"\\Changes", L"current", data);
        const auto spoilt = machine.all();
        EXPECT_TRUE(machine.journal.isInterrupted());
        EXPECT_THROW(machine.journal.recover(), InstallRefusal);
        EXPECT_EQ(machine.all(), spoilt);
    }
}

} // namespace
} // namespace tovix::test
