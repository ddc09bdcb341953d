#include "install/Installation.h"

#include "apo/RegistrationRecord.h"
#include "install/EffectRegistration.h"
#include "install/Removal.h"
#include "module/Registration.h"
#include "platform/ApoRegistration.h"
#include "support/EnvironmentVariable.h"
#include "system/RegistryUtils.h"
#include "tools/install/ScratchMachine.h"

#include <gtest/gtest.h>

#include <fstream>

namespace tovix::test {
namespace {

using namespace install;

class InstallationTest : public testing::Test {
protected:
    InstallationTest() {
        machine.makeKeys(L"SOFTWARE\\Classes\\CLSID");
        std::filesystem::create_directory(package.path() / L"logger");
        write(package.path() / libraryName, "library 1");
        write(package.path() / L"logger" / loggerName, "logger 1");
        before = machine.all();
    }

    static void write(const std::filesystem::path& file, const std::string& text) {
        std::ofstream(file, std::ios::binary) << text;
    }
    [[nodiscard]] std::filesystem::path folder() const { return machine.folder.path() / L"Programs" / L"Tovix"; }
    [[nodiscard]] InstallationWish wish(bool allowUnsigned = false, bool withLogger = false) const {
        return {
            .package = package.path(), .folder = folder(), .withLogger = withLogger, .allowUnsigned = allowUnsigned};
    }

    MachinePlan carryOut(MachinePlan plan) {
        journal.carryOut(plan.transaction);
        return plan;
    }
    MachinePlan install(const InstallationWish& wished) {
        return carryOut(planInstallation(wished, machine.registry, journal));
    }
    MachinePlan uninstall() { return carryOut(planRemoval(machine.registry, journal)); }
    void expectRefusal(const InstallationWish& wished, Obstacle obstacle) {
        try {
            install(wished);
            ADD_FAILURE() << "was installed";
        } catch (const InstallRefusal& refusal) {
            EXPECT_EQ(refusal.status(), obstacle) << refusal.what();
        }
    }
    std::optional<RegistryData> protection() { return machine.registry.read(protectionKey, protectionValue); }

    ScratchMachine machine;
    TemporaryFolder package;
    /// Where the logger writes, and an uninstallation looks for what it has written.
    TemporaryFolder logs;
    EnvironmentVariable programData{L"ProgramData", logs.path().wstring()};
    ChangeJournal journal{machine.registry};
    std::pair<ScratchMachine::Registry, ScratchMachine::Files> before;
};

TEST_F(InstallationTest, ComesOnceAndGoesWithoutATrace) {
    for (const bool withLogger : {false, true}) {
        for (const bool allowUnsigned : {false, true}) {
            const auto wished = wish(allowUnsigned, withLogger);
            EXPECT_FALSE(install(wished).isEmpty());
            EXPECT_EQ(installedLibrary(journal), folder() / libraryName);
            EXPECT_EQ(test::contentOf(folder() / libraryName), "library 1");
            EXPECT_EQ(test::contentOf(folder() / loggerName), withLogger ? "logger 1" : "");
            EXPECT_EQ(protection().has_value(), allowUnsigned);
            const auto installed = machine.all();
            EXPECT_TRUE(install(wished).isEmpty());
            EXPECT_TRUE(install(wish()).isEmpty()) << "what is not asked for again stays";
            EXPECT_EQ(machine.all(), installed);

            std::filesystem::create_directory(logs.path() / L"Tovix");
            write(logs.path() / L"Tovix" / L"Tovix.log", "a line");
            machine.put(productKey, L"MLS", numberData(5));
            machine.put(productKey, L"EnableOldApo", numberData(1));
            EXPECT_FALSE(uninstall().isEmpty());
            EXPECT_EQ(machine.all(), before);
            EXPECT_EQ(std::filesystem::exists(logs.path() / L"Tovix"), !withLogger);
            EXPECT_TRUE(uninstall().isEmpty());
        }
    }
}

TEST_F(InstallationTest, TheProtectionComesBackAsItWas) {
    const std::optional<RegistryData> states[] = {std::nullopt, numberData(0), numberData(1)};
    for (const auto& state : states) {
        if (state) {
            machine.put(protectionKey, protectionValue, *state);
        }
        install(wish(true));
        EXPECT_EQ(protection(), numberData(1));
        install(wish());
        uninstall();
        EXPECT_EQ(protection(), state);
    }
    machine.registry.write(protectionKey, protectionValue, numberData(0));
    install(wish(true));
    machine.registry.write(protectionKey, protectionValue, numberData(2));
    EXPECT_EQ(uninstall().notes.size(), 1U);
    EXPECT_EQ(protection(), numberData(2)) << "changed since";

    machine.registry.write(protectionKey, protectionValue, textData(L"1"));
    const auto foreign = machine.all();
    expectRefusal(wish(true), Obstacle::foreignType);
    EXPECT_EQ(machine.all(), foreign);
}

TEST_F(InstallationTest, ReplacesAnEarlierOneAndRemembersWhatWasBeforeIt) {
    machine.put(protectionKey, protectionValue, numberData(0));
    const auto beforeFirst = machine.all();
    install(wish(true, true));
    write(package.path() / libraryName, "library 2");
    write(package.path() / L"logger" / loggerName, "logger 2");
    install(wish());
    EXPECT_EQ(test::contentOf(folder() / libraryName), "library 2");
    EXPECT_EQ(test::contentOf(folder() / loggerName), "logger 2");

    auto otherCase = wish();
    otherCase.folder = machine.folder.path() / L"PROGRAMS" / L"tovix";
    install(otherCase);
    EXPECT_EQ(test::contentOf(folder() / libraryName), "library 2") << "the same folder by another name";

    auto elsewhere = wish();
    elsewhere.folder = machine.folder.path() / L"Elsewhere";
    install(elsewhere);
    EXPECT_FALSE(std::filesystem::exists(folder().parent_path()));
    EXPECT_EQ(test::contentOf(installedLibrary(journal)), "library 2");
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
    write(folder() / libraryName, "library 0");
    install(wish());
    EXPECT_FALSE(machine.registry.read(entry, L"Stale"));
    EXPECT_EQ(machine.registry.read(entry, L"Flags"), numberData(registrationRecord.Flags));
    uninstall();
    EXPECT_EQ(machine.all(), before);
}

TEST_F(InstallationTest, WhatSomebodyHasChangedSinceIsLeftAloneAndNamed) {
    install(wish());
    const auto server = classValues(L"C:\\another's\\Tovix64.dll").at(1);
    machine.registry.write(server.key, server.name, textData(server.text));
    write(folder() / libraryName, "another's");
    write(folder() / L"another's", "");
    EXPECT_EQ(uninstall().notes.size(), 2U);
    EXPECT_EQ(machine.registry.read(server.key, server.name), textData(server.text));
    EXPECT_EQ(machine.registry.valuesOf(server.key).size(), 1U);
    EXPECT_EQ(test::contentOf(folder() / libraryName), "another's");
    EXPECT_TRUE(uninstall().isEmpty());
}

TEST_F(InstallationTest, IsPutRightWhileItsLibraryIsThereOrInThePackage) {
    const auto planned = [this] { return planInstallationRepair(package.path(), machine.registry, journal); };
    EXPECT_THROW(requireInstalled(machine.registry), InstallRefusal);
    EXPECT_TRUE(planned().obstacle);
    machine.put(protectionKey, protectionValue, numberData(0));
    before = machine.all();
    install(wish(true));
    const auto installed = machine.all();
    EXPECT_NO_THROW(requireInstalled(machine.registry));
    EXPECT_TRUE(planned().isEmpty());

    const auto values = classValues(L"C:\\another.dll");
    const auto& server = values.at(1);
    for (const auto& value : values) {
        machine.registry.remove(value.key, value.name);
    }
    machine.registry.removeKey(server.key);
    machine.registry.removeKey(values.front().key);
    machine.registry.write(protectionKey, protectionValue, numberData(0));
    EXPECT_FALSE(carryOut(planned()).obstacle);
    EXPECT_EQ(machine.all(), installed);
    machine.registry.write(server.key, server.name, textData(server.text));
    carryOut(planned());
    EXPECT_EQ(machine.all(), installed);

    std::filesystem::remove_all(folder().parent_path());
    EXPECT_THROW(requireInstalled(machine.registry), InstallRefusal);
    write(package.path() / libraryName, "library 2");
    EXPECT_TRUE(planned().obstacle);
    write(package.path() / libraryName, "library 1");
    EXPECT_FALSE(carryOut(planned()).obstacle);
    EXPECT_EQ(machine.all(), installed);
    uninstall();
    EXPECT_EQ(machine.all(), before);
}

TEST_F(InstallationTest, WhatCannotBeCopiedIsRefusedWithNothingChanged) {
    const auto refused = [this](const InstallationWish& wished, Obstacle obstacle) {
        const auto present = machine.all();
        expectRefusal(wished, obstacle);
        EXPECT_EQ(machine.all(), present);
    };
    auto empty = wish();
    empty.package = logs.path();
    refused(empty, Obstacle::fileRefused);
    write(folder().parent_path(), "no folder");
    refused(wish(), Obstacle::fileRefused);
    std::filesystem::remove(folder().parent_path());

    install(wish());
    write(package.path() / libraryName, "library 2");
    const std::ifstream holder(folder() / libraryName);
    refused(wish(), Obstacle::fileInUse);
    EXPECT_THROW(uninstall(), InstallRefusal);
    EXPECT_EQ(test::contentOf(folder() / libraryName), "library 1");
}

} // namespace
} // namespace tovix::test
