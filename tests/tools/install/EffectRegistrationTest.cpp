#include "install/EffectRegistration.h"

#include "install/InstallRefusal.h"
#include "install/MachineFiles.h"
#include "tools/install/ScratchDevice.h"

#include <gtest/gtest.h>

#include <fstream>

namespace tovix::test {
namespace {

using namespace install;

TEST(EffectRegistration, IsPutRightWhileItsLibraryIsThere) {
    ScratchMachine machine;
    ChangeJournal journal(machine.registry);
    const std::wstring classKey = std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + tovixClass;
    const std::wstring key = classKey + L"\\InprocServer32";
    const auto library = machine.folder.path() / L"Programs" / L"Tovix" / L"Tovix64.dll";
    const TemporaryFolder package;
    const auto planned = [&] { return planInstallationRepair(package.path(), machine.registry, journal); };
    EXPECT_THROW(requireInstalled(machine.registry), InstallRefusal);
    EXPECT_TRUE(planned().obstacle);

    std::filesystem::create_directories(library.parent_path());
    std::ofstream(library) << "library";
    const RegistryData path = textData(library.wstring());
    const std::wstring engineKey = L"SOFTWARE\\Engine";
    const ChangeRecord record{
        KeyChange{.key = classKey}, KeyChange{.key = key},
        ValueChange{.key = key, .name = L"", .before = {}, .after = path},
        ValueChange{.key = engineKey, .name = L"protection", .before = {}, .after = numberData(1)},
        FileChange{.file = library, .before = {}, .after = install::contentOf(library), .source = {}}};
    machine.makeKeys(L"SOFTWARE\\Classes\\CLSID");
    machine.makeKeys(engineKey);
    journal.carryOut({.changes = {record.begin(), record.begin() + 4}, .records = {{installationRecord, record}}});
    EXPECT_NO_THROW(requireInstalled(machine.registry));
    EXPECT_TRUE(planned().isEmpty());

    machine.registry.write(engineKey, L"protection", numberData(0));
    machine.registry.remove(key, L"");
    machine.registry.removeKey(key);
    machine.registry.removeKey(classKey);
    const auto plan = planned();
    EXPECT_FALSE(plan.obstacle);
    journal.carryOut(plan.transaction);
    EXPECT_EQ(machine.registry.read(key, L""), path);
    EXPECT_EQ(machine.registry.read(engineKey, L"protection"), numberData(1));
    machine.registry.write(key, L"", textData(L"C:\\another.dll"));
    journal.carryOut(planned().transaction);
    const auto back = takingBack(journal.find(installationRecord).value(), machine.registry);
    journal.carryOut({.changes = {back.changes.begin() + 1, back.changes.end()}, .records = {}}); // not the file
    EXPECT_FALSE(machine.registry.hasKey(classKey));
    EXPECT_EQ(machine.registry.read(engineKey, L"protection"), numberData(0)) << "as the machine would have it";

    std::filesystem::remove_all(machine.folder.path() / L"Programs");
    EXPECT_TRUE(planned().obstacle);
    EXPECT_THROW(requireInstalled(machine.registry), InstallRefusal);
    std::ofstream(package.path() / L"Tovix64.dll") << "another version";
    EXPECT_TRUE(planned().obstacle);
    std::ofstream(package.path() / L"Tovix64.dll") << "library";
    EXPECT_FALSE(planned().obstacle);
    journal.carryOut(planned().transaction);
    EXPECT_EQ(test::contentOf(library), "library");
    EXPECT_NO_THROW(requireInstalled(machine.registry));
    EXPECT_TRUE(planned().isEmpty());
}

} // namespace
} // namespace tovix::test
