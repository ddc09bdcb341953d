#include "install/EffectRegistration.h"

#include "apo/RegistrationRecord.h"
#include "install/EffectProperties.h"
#include "install/Installation.h"
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
    PuttingRight(const RegistryTree& registry, const std::filesystem::path& package,
                 std::vector<std::wstring> ownKeys, MachinePlan& plan)
        : m_registry(registry), m_package(package), m_ownKeys(std::move(ownKeys)), m_plan(plan) {}

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
    void operator()(const FolderChange& /*change*/) const {} // comes with a file that belongs there
    void operator()(const FileChange& change) const {
        const std::string content = contentOf(change.file);
        if (content == change.after) {
            return;
        }
        const auto source = packagedFile(m_package, change.file.filename());
        const bool isCopied = content.empty() && contentOf(source) == change.after;
        if (isCopied) {
            bringFolder(change.file.parent_path());
            m_plan.transaction.changes.emplace_back(
                FileChange{.file = change.file, .before = {}, .after = change.after, .source = source});
        }
        m_plan.sentences.push_back("The file \"" + encodeUtf8(change.file.wstring()) +
                                   (isCopied          ? "\" is missing: copied again."
                                    : content.empty() ? "\" is missing; \"tovixctl install\" brings it back."
                                                      : "\" is not the one that was installed; \"tovixctl install\" "
                                                        "brings it back."));
    }

private:
    /// The folder and those above it that are missing. One that is not in the record was there before the
    /// installation, and stays.
    void bringFolder(const std::filesystem::path& folder) const {
        auto& changes = m_plan.transaction.changes;
        const bool isPlanned = std::any_of(changes.begin(), changes.end(), [&](const MachineChange& change) {
            const auto* const pFolder = std::get_if<FolderChange>(&change);
            return pFolder != nullptr && pFolder->folder == folder;
        });
        if (std::error_code ignored; isPlanned || std::filesystem::exists(folder, ignored)) {
            return;
        }
        if (folder.has_parent_path() && folder.parent_path() != folder) {
            bringFolder(folder.parent_path());
        }
        changes.emplace_back(FolderChange{.folder = folder});
    }

    const RegistryTree& m_registry;
    const std::filesystem::path& m_package;
    std::vector<std::wstring> m_ownKeys;
    MachinePlan& m_plan;
};

bool isCopied(const std::filesystem::path& file, const MachinePlan& plan) {
    const auto& changes = plan.transaction.changes;
    return std::any_of(changes.begin(), changes.end(), [&](const MachineChange& change) {
        const auto* const pFile = std::get_if<FileChange>(&change);
        return pFile != nullptr && pFile->file == file;
    });
}

} // namespace

void requireInstalled(const RegistryTree& registry) {
    if (const auto obstacle = obstacleOf(firstTextOf(registry.read(serverKey(), L"")))) {
        throw InstallRefusal(*obstacle);
    }
}

MachinePlan planInstallationRepair(const std::filesystem::path& package, const RegistryTree& registry,
                                   const ChangeJournal& journal) {
    MachinePlan plan;
    std::wstring library = firstTextOf(registry.read(serverKey(), L""));
    if (auto record = journal.find(installationRecord)) {
        PuttingRight puttingRight(registry, package, keysOf(*record), plan);
        for (MachineChange& change : *record) {
            std::visit(puttingRight, change);
            const auto* const pValue = std::get_if<ValueChange>(&change);
            if (pValue != nullptr && isSameText(pValue->key, serverKey()) && pValue->name.empty()) {
                library = firstTextOf(pValue->after);
            }
        }
        if (!plan.transaction.changes.empty()) {
            plan.transaction.records.emplace(installationRecord, *std::move(record));
        }
    }
    if (!isCopied(library, plan)) {
        plan.obstacle = obstacleOf(library);
    }
    return plan;
}

} // namespace tovix::install
