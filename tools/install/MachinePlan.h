#pragma once

#include "install/ChangeJournal.h"
#include "install/InstallRefusal.h"

#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tovix::install {

/// What a command would do to the machine, with sentences for the user, in UTF-8.
struct MachinePlan {
    Transaction transaction;
    /// What is found and what is done, in the order of the changes.
    std::vector<std::string> sentences;
    /// What the user should know beside it.
    std::vector<std::string> notes;
    /// What keeps it from being carried out, to be told after the sentences.
    std::optional<InstallRefusal> obstacle;

    /// What is the user's and not the machine's, to be done when the machine is changed. It can be repeated.
    std::function<void()> afterwards;

    [[nodiscard]] bool isEmpty() const {
        return transaction.changes.empty() && transaction.records.empty() && !afterwards;
    }

    /// [control] What TakingBack leaves alone.
    void noteLeftAlone(const std::vector<MachineChange>& leftAlone) {
        for (const MachineChange& change : leftAlone) {
            notes.push_back("Left alone, because it has been changed since: " + describe(change) + ".");
        }
    }

    /// [control] Adds a plan for other records.
    void append(MachinePlan other) {
        const auto addAll = [](auto& list, auto& others) {
            list.insert(list.end(), std::make_move_iterator(others.begin()), std::make_move_iterator(others.end()));
        };
        addAll(transaction.changes, other.transaction.changes);
        addAll(sentences, other.sentences);
        addAll(notes, other.notes);
        transaction.records.merge(other.transaction.records);
        if (!afterwards) {
            afterwards = std::move(other.afterwards);
        }
        if (!obstacle) {
            obstacle = std::move(other.obstacle);
        }
    }
};

} // namespace tovix::install
