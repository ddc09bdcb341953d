// The control program ended by force after every single change to the registry and to files, one run for each:
// whatever command comes next brings the machine to what it was before or to what it is after.

#include "support/EnvironmentVariable.h"
#include "tools/control/RealMachine.h"

#include <algorithm>
#include <functional>

namespace tovix::test {
namespace {

using namespace install;

class InterruptedCommand : public testing::Test {
protected:
    static void run(const std::vector<std::wstring>& commands) {
        for (const auto& command : commands) {
            const ProgramRun done(command);
            ASSERT_EQ(done.status, 0U) << std::filesystem::path(command).string() << "\n" << done.output;
        }
    }

    /// `back` undoes what the command does. Returns after how many changes the command has come to its end.
    int interrupt(const std::wstring& command, const std::function<void()>& back) {
        const auto before = machine.state();
        run({command});
        const auto after = machine.state();
        EXPECT_FALSE(after == before);
        for (int end = 1;; ++end) {
            if (machine.state() != before) {
                back();
            }
            EXPECT_TRUE(machine.state() == before) << "ended at change " << end;
            const EnvironmentVariable endAt(L"TOVIX_END_AT_CHANGE", std::to_wstring(end));
            if (const ProgramRun interrupted(command, L"tovixctl-interrupted.exe"); interrupted.status != 99) {
                EXPECT_EQ(interrupted.status, 0U);
                EXPECT_TRUE(machine.state() == after);
                return end;
            }
            run({L"repair"});
            const auto state = machine.state();
            EXPECT_TRUE(state == before || state == after) << "ended at change " << end;
            if (HasFailure()) {
                return end;
            }
        }
    }

    RealMachine machine;
    const std::wstring install =
        L"install --allow-unsigned --to \"" + (RealMachine::folder() / L"Tovix").wstring() + L"\"";
    const std::wstring attach = std::wstring(L"attach ") + RealMachine::device;
    const std::wstring detach = std::wstring(L"detach ") + RealMachine::device;
    const std::wstring vendorClass = L"{2A0F1C55-0B1E-4E0B-9C0B-1F0E3B5C7D11}";
    const std::wstring effectFormat = L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d},";
};

TEST_F(InterruptedCommand, InstallIsDoneOrNot) {
    EXPECT_GT(interrupt(install, [] { run({L"uninstall"}); }), 30);
}

TEST_F(InterruptedCommand, AttachAndDetachAreDoneOrNot) {
    run({install});
    const std::pair<std::wstring, RegistryData> kinds[] = {{effectFormat + L"7", textData(vendorClass)},
                                                           {effectFormat + L"15", listData({vendorClass})},
                                                           {effectFormat + L"2", textData(vendorClass)},
                                                           {enhancementsOffKey, numberData(1)},
                                                           {L"", {}}}; // no effect properties at all
    for (const auto& [name, data] : kinds) {
        machine.addDevice(name, data);
        if (name.empty()) {
            ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, effectPropertiesKey(RealMachine::device).c_str());
        }
        EXPECT_GT(interrupt(attach, [this] { run({detach}); }), 4);
        EXPECT_GT(interrupt(detach, [this] { run({attach}); }), 4);
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, deviceKey(RealMachine::device).c_str());
    }
}

TEST_F(InterruptedCommand, RepairIsDoneOrNot) {
    const auto spoil = [this] {
        machine.clear();
        machine.addDevice(effectFormat + L"7", textData(vendorClass));
        run({install, attach});
        machine.registry.write(effectPropertiesKey(RealMachine::device), effectFormat + L"7", textData(vendorClass));
        machine.registry.write(protectionKey, protectionValue, numberData(0));
        std::filesystem::remove_all(RealMachine::folder());
    };
    spoil();
    EXPECT_GT(interrupt(L"repair", spoil), 4);
}

TEST_F(InterruptedCommand, UninstallIsDoneOrNot) {
    machine.addDevice(effectFormat + L"15", listData({vendorClass}));
    const std::vector<std::wstring> all = {install + L" --with-logger", attach, L"log-level 4"};
    run(all);
    EXPECT_GT(interrupt(L"uninstall", [&] { run(all); }), 30);
}

} // namespace
} // namespace tovix::test
