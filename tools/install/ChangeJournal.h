#pragma once

#include "install/MachineChange.h"

#include <map>
#include <string>

namespace tovix::install {

/// What one command does, all or nothing.
struct Transaction {
    std::vector<MachineChange> changes;
    /// The records that stand when the changes are made, by name: one for each device (its endpoint identifier) and
    /// one for the installation (`installationRecord`). None takes a record away.
    std::map<std::wstring, std::optional<ChangeRecord>> records;
};

inline constexpr const wchar_t* installationRecord = L"installation";

/// The product's own key, below the machine's.
inline constexpr const wchar_t* productKey = L"SOFTWARE\\Quelmark\\Volmora";

/// Makes changes to the machine so that a process which is ended at any moment leaves nothing that the next one does
/// not put right. [control], one thread at a time; throws InstallRefusal.
///
/// The key `Changes` below the product's own key holds a value for each record, and while a command is at work one
/// more, `current`: the whole of its changes, written before the first of them. That value is the only thing that
/// decides: while it says "making", the changes are taken back; once it says "finishing", they stand, and records and
/// files that were put aside follow. Each of its states is one write, and every step can be made twice.
class ChangeJournal {
public:
    explicit ChangeJournal(RegistryTree& registry) : m_registry(registry) {}

    /// Puts right what an ended process left: takes its changes back or finishes them. Returns a sentence on it for
    /// the user, empty where there was nothing. To be called before anything else is planned.
    std::string recover();

    /// Whether an ended process left something, to be told by a command that changes nothing.
    [[nodiscard]] bool isInterrupted() const;

    /// The record of that name, as the last finished command left it.
    [[nodiscard]] std::optional<ChangeRecord> find(const std::wstring& name) const;

    /// The names of all records.
    [[nodiscard]] std::vector<std::wstring> names() const;

    /// Makes all of it; when a step fails, takes back those that were made and throws that step's refusal.
    void carryOut(const Transaction& transaction);

private:
    void takeBackAll(const std::vector<MachineChange>& changes);
    void finish(const Transaction& transaction);
    void writeCurrent(const char* state, const Transaction& transaction);
    void openKey();
    void removeEmptyKeys();

    RegistryTree& m_registry;
};

} // namespace tovix::install
