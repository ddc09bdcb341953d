#include "install/ChangeJournal.h"

#include "install/InstallRefusal.h"
#include "install/MachineFiles.h"
#include "tools/install/ScratchMachine.h"

#include <gtest/gtest.h>

#include <fstream>

namespace tovix::test {
namespace {

using namespace install;

/// A machine, and a transaction with every kind of change.
class ChangeJournalTest : public testing::Test {
protected:
    ChangeJournalTest() {
        machine.put(L"SOFTWARE\\Device", L"replaced", textData(L"old"));
        machine.put(L"SOFTWARE\\Device", L"removed", {.type = REG_BINARY, .bytes = {1, 2, 3}});
        machine.put(L"SOFTWARE\\Device", L"", listData({L"one", L"zwei \x00E4"}));
        write(source(), "the new library");
        write(machine.folder.path() / L"replaced.dll", "the old library");
        write(machine.folder.path() / L"removed.dll", "no longer used");
        before = machine.all();
    }
    ~ChangeJournalTest() override { endAtChange(0); }

    static void write(const std::filesystem::path& file, const std::string& text) {
        std::ofstream(file, std::ios::binary) << text;
    }
    [[nodiscard]] std::filesystem::path source() const { return sources.path() / L"library.dll"; }

    [[nodiscard]] Transaction everyKind() const {
        const auto& folder = machine.folder.path();
        const std::string content = install::contentOf(source());
        const auto file = [&](const wchar_t* name, bool comes) {
            const auto path = folder / name;
            return FileChange{.file = path,
                              .before = install::contentOf(path),
                              .after = comes ? content : "",
                              .source = comes ? source() : L""};
        };
        const auto value = [&](const wchar_t* name, std::optional<RegistryData> after) {
            const std::wstring key = L"SOFTWARE\\Device";
            return ValueChange{.key = key, .name = name, .before = machine.registry.read(key, name), .after = after};
        };
        ChangeRecord changes{
            KeyChange{.key = L"SOFTWARE\\Device\\Properties"},
            ValueChange{
                .key = L"SOFTWARE\\Device\\Properties", .name = L"made", .before = {}, .after = numberData(1)},
            value(L"replaced", listData({L"new"})),
            value(L"removed", std::nullopt),
            value(L"", textData(L"")),
            FolderChange{.folder = folder / L"logger"},
            file(L"logger/made.dll", true),
            file(L"replaced.dll", true),
            file(L"removed.dll", false)};
        return {.changes = changes, .records = {{L"{device}", changes}}};
    }

    ScratchMachine machine;
    TemporaryFolder sources;
    std::pair<ScratchMachine::Registry, ScratchMachine::Files> before;
    ChangeJournal journal{machine.registry};
};

TEST_F(ChangeJournalTest, EndedAtAnyChangeLeavesOneOfTwoStates) {
    journal.carryOut(everyKind());
    const auto after = machine.all();
    ASSERT_NE(after, before);
    ASSERT_EQ(after.second.at(L"replaced.dll"), "the new library");
    ASSERT_EQ(after.second.count(L"removed.dll"), 0);

    int states[2] = {0, 0};
    for (int end = 1;; ++end) {
        ScratchMachine& fresh = machine;
        const auto reset = [&] {
            ASSERT_TRUE(journal.find(L"{device}"));
            const TakingBack back = takingBack(*journal.find(L"{device}"), fresh.registry);
            journal.carryOut({.changes = back.changes, .records = {{L"{device}", std::nullopt}}});
            write(fresh.folder.path() / L"replaced.dll", "the old library");
            write(fresh.folder.path() / L"removed.dll", "no longer used");
        };
        if (journal.find(L"{device}")) {
            reset();
        }
        ASSERT_EQ(fresh.all(), before);
        const Transaction transaction = everyKind();
        endAtChange(end);
        try {
            journal.carryOut(transaction);
            break;
        } catch (const EndedByForce&) {
            endAtChange(end % 4); // what puts it right is ended as well
        }
        try {
            ChangeJournal(fresh.registry).recover();
        } catch (const EndedByForce&) {
        }
        endAtChange(0);
        ChangeJournal(fresh.registry).recover();
        EXPECT_FALSE(journal.isInterrupted());
        const auto state = fresh.all();
        ASSERT_TRUE(state == before || state == after) << "ended at change " << end;
        ++states[state == after ? 1 : 0];
    }
    EXPECT_GT(states[0], 10);
    EXPECT_GT(states[1], 3);
}

TEST_F(ChangeJournalTest, AFailingStepTakesBackThoseBeforeIt) {
    Transaction transaction = everyKind();
    const auto failing = [&](MachineChange change, Obstacle obstacle) {
        transaction.changes.back() = std::move(change);
        try {
            journal.carryOut(transaction);
            ADD_FAILURE() << "was made";
        } catch (const InstallRefusal& refusal) {
            EXPECT_EQ(refusal.status(), obstacle) << refusal.what();
        }
        EXPECT_EQ(machine.all(), before);
    };
    const auto file = machine.folder.path() / L"removed.dll";
    failing(ValueChange{.key = L"SOFTWARE\\Missing", .name = L"x", .before = {}, .after = numberData(1)},
            Obstacle::registryRefused);
    failing(
        ValueChange{.key = L"SOFTWARE\\Device", .name = L"removed", .before = numberData(1), .after = numberData(2)},
        Obstacle::registryRefused);
    failing(FileChange{.file = file, .before = "another content", .after = {}, .source = {}}, Obstacle::fileRefused);
    failing(
        FileChange{.file = file, .before = install::contentOf(file), .after = "1", .source = sources.path() / L"x"},
        Obstacle::fileRefused);
    const std::ifstream holder(file);
    failing(FileChange{.file = file, .before = install::contentOf(file), .after = {}, .source = {}},
            Obstacle::fileInUse);
}

TEST_F(ChangeJournalTest, WhatSomebodyChangedSinceIsLeftAlone) {
    Transaction transaction = everyKind();
    journal.carryOut(transaction);
    machine.registry.write(L"SOFTWARE\\Device", L"replaced", textData(L"another's"));
    machine.registry.remove(L"SOFTWARE\\Device\\Properties", L"made");
    machine.put(L"SOFTWARE\\Device\\Properties", L"another's", numberData(7));
    write(machine.folder.path() / L"replaced.dll", "another's");

    const TakingBack back = takingBack(journal.find(L"{device}").value(), machine.registry);
    EXPECT_EQ(back.leftAlone.size(), 2);
    journal.carryOut({.changes = back.changes, .records = {{L"{device}", std::nullopt}}});
    EXPECT_TRUE(journal.names().empty());

    auto expected = before;
    const auto another = textData(L"another's");
    const auto seven = numberData(7);
    expected.first[L"SOFTWARE\\Device"][L"replaced"] = {another.type, another.bytes};
    expected.first[L"SOFTWARE\\Device\\Properties"][L"another's"] = {seven.type, seven.bytes};
    expected.second[L"replaced.dll"] = "another's";
    expected.second.erase(L"removed.dll");
    EXPECT_EQ(machine.all(), expected);
}

TEST_F(ChangeJournalTest, AJournalThatCannotBeReadStopsEverything) {
    for (const auto& data : {textData(L"{\"state\":"), textData(L"{}"), numberData(3), RegistryData{}}) {
        machine.put(std::wstring(productKey) + L"\\Changes", L"current", data);
        const auto spoilt = machine.all();
        EXPECT_TRUE(journal.isInterrupted());
        EXPECT_THROW(journal.recover(), InstallRefusal);
        EXPECT_EQ(machine.all(), spoilt);
    }
}

} // namespace
} // namespace tovix::test
