#include "control/MachineCommand.h"

#include "control/ExitStatus.h"
#include "install/AudioService.h"
#include "install/MachineFiles.h"
#include "settings/SettingsReport.h"
#include "system/WinHandles.h"
#include "text/Utf.h"

#include <nlohmann/json.hpp>

#include <iostream>

namespace tovix::control {
namespace {

using install::AudioService;
using install::MachinePlan;

/// While it lives no other control program changes the machine, whose journal would be taken for an interrupted one.
/// Nor does Ctrl-C end this one between stopping and starting the audio service.
class MachineTurn {
public:
    MachineTurn() : m_hMutex(::CreateMutexW(nullptr, FALSE, L"Global\\TovixMachine")) {
        constexpr DWORD longestWaitMs = 120'000; // stopping and starting the audio service takes its time
        if (m_hMutex && ::WaitForSingleObject(m_hMutex.get(), longestWaitMs) == WAIT_TIMEOUT) {
            throw CommandFailure(ExitStatus::failed, "Another tovixctl is changing this machine; nothing was done.");
        }
        ::SetConsoleCtrlHandler(nullptr, TRUE);
    }
    ~MachineTurn() { ::ReleaseMutex(m_hMutex.get()); }
    MachineTurn(const MachineTurn&) = delete;
    MachineTurn& operator=(const MachineTurn&) = delete;

private:
    KernelHandle m_hMutex;
};

/// Whether `action` has run; false where a file that it needs is in use.
bool triedOn(const std::function<void()>& action) {
    try {
        action();
        return true;
    } catch (const install::InstallRefusal& refusal) {
        if (refusal.status() != install::Obstacle::fileInUse) {
            throw;
        }
        return false;
    }
}

/// For what comes after the end of the audio service, whose process lives on for a moment. Throws when the files are
/// in use for longer.
void onceUnused(const std::function<void()>& action) {
    constexpr ULONGLONG limitMs = 5000;
    constexpr DWORD periodMs = 50;
    const ULONGLONG endMs = ::GetTickCount64() + limitMs;
    while (::GetTickCount64() <= endMs) {
        if (triedOn(action)) {
            return;
        }
        ::Sleep(periodMs);
    }
    action();
}

/// Its audio engine being stopped, another process holds it.
void awaitUnused(const std::filesystem::path& file) {
    if (!triedOn([&] { onceUnused([&] { install::requireUnused(file); }); })) {
        throw install::InstallRefusal(install::Obstacle::fileInUse,
                                      "The file \"" + encodeUtf8(file.wstring()) +
                                          "\" is in use by a process that is not the audio engine's.");
    }
}

/// Where the service is stopped for it the plan is made anew then: the engine has written its log until it ended.
void carryOut(MachinePlan& plan, const std::function<MachinePlan()>& planAgain, install::ChangeJournal& journal,
              bool restartAudio) {
    const auto make = [&] {
        for (const auto& change : plan.transaction.changes) {
            if (const auto* const pFile = std::get_if<install::FileChange>(&change)) {
                (restartAudio ? awaitUnused : install::requireUnused)(pFile->file);
            }
        }
        if (restartAudio) {
            plan = planAgain();
        }
        journal.carryOut(plan.transaction);
    };
    if (restartAudio) {
        AudioService().restartAround(make);
    } else {
        make();
    }
}

/// The sentence on it; empty where there was nothing to put right.
std::string recover(install::ChangeJournal& journal, bool restartAudio) {
    std::string sentence;
    const auto recoverNow = [&] { sentence = journal.recover(); };
    if (!restartAudio) {
        recoverNow();
    } else if (!triedOn(recoverNow)) {
        AudioService().restartAround([&] { onceUnused(recoverNow); });
    }
    return sentence;
}

void reportData(const MachinePlan& plan, const MachineOptions& options) {
    auto changes = nlohmann::ordered_json::array();
    for (const auto& change : plan.transaction.changes) {
        changes.push_back(install::toData(change));
        changes.back()["text"] = install::describe(change);
    }
    std::cout << nlohmann::ordered_json{{"dryRun", options.dryRun},
                                        {"changes", changes},
                                        {"sentences", plan.sentences},
                                        {"notes", plan.notes},
                                        {"audioRestarted", options.restartAudio && !options.dryRun}}
                     .dump()
              << std::endl;
}

void reportText(const MachinePlan& plan, const MachineOptions& options) {
    for (const auto& sentence : plan.sentences) {
        std::cout << printable(sentence) << "\n";
    }
    if (options.dryRun) {
        for (const auto& change : plan.transaction.changes) {
            std::cout << "would " << printable(install::describe(change)) << "\n";
        }
    }
    if (plan.isEmpty()) {
        std::cout << "Nothing to do.\n";
    }
    if (options.restartAudio && !options.dryRun) {
        std::cout << "The audio service was restarted.\n";
    }
    std::cout << std::flush;
    for (const auto& note : plan.notes) {
        std::cerr << "Note: " << printable(note) << "\n";
    }
}

void report(const MachinePlan& plan, const MachineOptions& options, const Output& output) {
    output.json ? reportData(plan, options) : reportText(plan, options);
}

/// A plan that cannot be carried out is told like one that shall not be.
void refuseObstacle(const MachinePlan& plan, const Output& output) {
    if (plan.obstacle) {
        report(plan, {.dryRun = true}, output);
        throw install::InstallRefusal(*plan.obstacle);
    }
}

} // namespace

void addMachineOptions(CLI::App& command, MachineOptions& options) {
    command.add_flag("--dry-run", options.dryRun, "Print the changes, make none");
    command.add_flag("--restart-audio", options.restartAudio,
                     "Restart the audio service, which cuts all sound short");
}

void changeMachine(const MachinePlanner& plan, const MachineOptions& options, const Output& output) {
    refuseHold(output);
    auto registry = install::RegistryTree::machine();
    install::ChangeJournal journal(registry);
    MachinePlan made;
    if (options.dryRun) {
        made = plan(registry, journal);
        if (journal.isInterrupted()) {
            made.notes.insert(made.notes.begin(), "An earlier command was interrupted; the next one that changes "
                                                  "something puts that right first.");
        }
        refuseObstacle(made, output);
    } else {
        const MachineTurn turn;
        if (const auto sentence = recover(journal, options.restartAudio); !sentence.empty()) {
            std::cerr << "Note: " << sentence << std::endl;
        }
        made = plan(registry, journal);
        refuseObstacle(made, output);
        const auto planAgain = [&] { return plan(registry, journal); };
        carryOut(made, planAgain, journal, options.restartAudio);
        if (made.afterwards) {
            made.afterwards();
        }
        if (!made.transaction.changes.empty() && !options.restartAudio) {
            made.notes.emplace_back("The audio service takes this up when it next starts: restart the machine, or "
                                    "give the same command with --restart-audio.");
        }
    }
    report(made, options, output);
}

} // namespace tovix::control
