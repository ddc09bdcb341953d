#include "install/Removal.h"

#include "install/Attachment.h"
#include "install/Installation.h"
#include "install/MachineFiles.h"
#include "install/OutputDevices.h"
#include "system/RegistrySettings.h"
#include "text/SettingsNames.h"
#include "text/Utf.h"

#include <algorithm>

namespace tovix::install {
namespace {

/// The devices that have a record, there or not, and all others: an effect that was attached by hand has none.
std::vector<std::wstring> allDevices(const RegistryTree& registry, const ChangeJournal& journal) {
    auto ids = journal.names();
    std::erase(ids, installationRecord);
    for (const auto& device : readOutputDevices(registry, {})) {
        if (std::find(ids.begin(), ids.end(), device.id) == ids.end()) {
            ids.push_back(device.id);
        }
    }
    return ids;
}

/// Where the development logger writes, as it finds it; empty where its folder leads elsewhere: any user may make it.
std::filesystem::path logFolder() {
    std::wstring programData(::GetEnvironmentVariableW(L"ProgramData", nullptr, 0), L'\0');
    programData.resize(
        ::GetEnvironmentVariableW(L"ProgramData", programData.data(), static_cast<DWORD>(programData.size())));
    if (programData.empty()) {
        return {};
    }
    auto folder = std::filesystem::path(programData) / L"Tovix";
    const DWORD attributes = ::GetFileAttributesW(folder.c_str());
    const bool isFolder = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                          (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
    return isFolder ? folder : std::filesystem::path();
}

/// One that the system does not give, for any user may make these files, keeps nothing else from going.
void planRemovalOfLogs(std::vector<MachineChange>& changes, std::vector<std::string>& notes) {
    const auto folder = logFolder();
    if (folder.empty()) {
        return;
    }
    for (const wchar_t* const name : {L"Tovix.log", L"Tovix.log.1"}) {
        try {
            if (const auto content = contentOf(folder / name); !content.empty()) {
                changes.emplace_back(FileChange{.file = folder / name, .before = content, .after = {}, .source = {}});
            }
        } catch (const InstallRefusal& refusal) {
            notes.push_back(std::string("Left alone: ") + refusal.what());
        }
    }
    changes.emplace_back(FolderChange{.folder = folder, .comes = false});
}

bool hasLogger(const ChangeRecord& record) {
    return std::any_of(record.begin(), record.end(), [](const MachineChange& change) {
        const auto* const pFile = std::get_if<FileChange>(&change);
        return pFile != nullptr && pFile->file.filename() == loggerName;
    });
}

MachinePlan planRemovalOfInstallation(const RegistryTree& registry, const ChangeJournal& journal) {
    MachinePlan plan;
    const auto record = journal.find(installationRecord);
    if (!record) {
        return plan;
    }
    auto [changes, leftAlone] = takingBack(*record, registry);
    if (hasLogger(*record)) {
        planRemovalOfLogs(changes, plan.notes);
    }
    plan.noteLeftAlone(leftAlone);
    plan.sentences.push_back("Removes Tovix from \"" + encodeUtf8(installedLibrary(journal).parent_path().wstring()) +
                             "\".");
    plan.transaction = {.changes = std::move(changes), .records = {{installationRecord, std::nullopt}}};
    return plan;
}

/// What `tovixctl log-level` and `old-apo` write.
MachinePlan planRemovalOfSettings(const RegistryTree& registry) {
    MachinePlan plan;
    for (const std::wstring& name :
         {std::wstring(logLevelValueName), std::wstring(settings::enableOldApo.wide().data())}) {
        if (const auto data = registry.read(productKey, name)) {
            plan.transaction.changes.emplace_back(
                ValueChange{.key = productKey, .name = name, .before = data, .after = std::nullopt});
        }
    }
    if (!plan.isEmpty()) {
        plan.sentences.emplace_back("Removes the log level and the switch of the previous effect.");
    }
    return plan;
}

} // namespace

MachinePlan planRemoval(const RegistryTree& registry, const ChangeJournal& journal) {
    MachinePlan plan;
    for (const auto& id : allDevices(registry, journal)) {
        plan.append(planDetachment(id, registry, journal));
    }
    plan.append(planRemovalOfInstallation(registry, journal));
    plan.append(planRemovalOfSettings(registry));
    return plan;
}

} // namespace tovix::install
