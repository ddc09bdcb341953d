#include "install/EffectRegistration.h"

#include "apo/RegistrationRecord.h"
#include "install/EffectProperties.h"
#include "install/MachineFiles.h"
#include "system/RegistryUtils.h"
#include "text/Utf.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace tovix::install {
namespace {

std::wstring serverKey() {
    return L"SOFTWARE\\Classes\\CLSID\\" + classIdText(effectClassId) + L"\\InprocServer32";
}

/// The first text of a value; empty where there is none.
std::wstring firstText(const std::optional<RegistryData>& data) {
    const auto texts = data ? textsOf(*data) : std::nullopt;
    return texts && !texts->empty() ? texts->front() : L"";
}

std::optional<InstallRefusal> obstacleOf(const std::wstring& library) {
    if (library.empty()) {
        return InstallRefusal(Obstacle::notInstalled, "Tovix is not installed; run \"tovixctl install\" first.");
    }
    std::error_code ignored;
    if (!std::filesystem::exists(library, ignored)) {
        return InstallRefusal(Obstacle::notInstalled, "The library \"" + encodeUtf8(library) +
                                                          "\" is missing; run \"tovixctl install\" first.");
    }
    return std::nullopt;
}

/// The keys that go with the installation.
std::vector<std::wstring> keysOf(const ChangeRecord& record) {
    std::vector<std::wstring> keys;
    for (const MachineChange& change : record) {
        if (const auto* const pKey = std::get_if<KeyChange>(&change)) {
            keys.push_back(pKey->key);
        }
    }
    return keys;
}

/// Brings back what a record made, one change after the other. What another program has put in its place meanwhile is
/// what the machine gets back later, but for a key that goes with the installation.
class PuttingRight {
public:
    PuttingRight(const RegistryTree& registry, std::vector<std::wstring> ownKeys, MachinePlan& plan)
        : m_registry(registry), m_ownKeys(std::move(ownKeys)), m_plan(plan) {}

    void operator()(KeyChange& change) const {
        if (m_registry.hasKey(change.key) != change.comes) {
            m_plan.transaction.changes.emplace_back(change);
        }
    }
    void operator()(ValueChange& change) {
        const auto data = m_registry.read(change.key, change.name);
        if (data == change.after) {
            return;
        }
        m_plan.sentences.push_back("The value \"" + encodeUtf8(change.name) + "\" in HKLM\\" +
                                   encodeUtf8(change.key) + " is not as it was left.");
        m_plan.transaction.changes.emplace_back(
            ValueChange{.key = change.key, .name = change.name, .before = data, .after = change.after});
        if (std::find(m_ownKeys.begin(), m_ownKeys.end(), change.key) == m_ownKeys.end()) {
            change.before = data;
        }
    }
    void operator()(const FolderChange& /*change*/) const {}
    void operator()(const FileChange& change) const {
        if (const std::string content = contentOf(change.file); content != change.after) {
            m_plan.sentences.push_back("The file \"" + encodeUtf8(change.file.wstring()) +
                                       (content.empty() ? "\" is missing" : "\" is not the one that was installed") +
                                       "; \"tovixctl install\" brings it back.");
        }
    }

private:
    const RegistryTree& m_registry;
    std::vector<std::wstring> m_ownKeys;
    MachinePlan& m_plan;
};

} // namespace

void requireInstalled(const RegistryTree& registry) {
    if (const auto obstacle = obstacleOf(firstText(registry.read(serverKey(), L"")))) {
        throw InstallRefusal(*obstacle);
    }
}

MachinePlan planInstallationRepair(const RegistryTree& registry, const ChangeJournal& journal) {
    MachinePlan plan;
    std::wstring library = firstText(registry.read(serverKey(), L""));
    if (auto record = journal.find(installationRecord)) {
        PuttingRight puttingRight(registry, keysOf(*record), plan);
        for (MachineChange& change : *record) {
            std::visit(puttingRight, change);
            const auto* const pValue = std::get_if<ValueChange>(&change);
            if (pValue != nullptr && isSameText(pValue->key, serverKey()) && pValue->name.empty()) {
                library = firstText(pValue->after);
            }
        }
        if (!plan.transaction.changes.empty()) {
            plan.transaction.records.emplace(installationRecord, *std::move(record));
        }
    }
    plan.obstacle = obstacleOf(library);
    return plan;
}

} // namespace tovix::install
