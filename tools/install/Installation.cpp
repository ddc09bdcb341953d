#include "install/Installation.h"

#include "apo/RegistrationRecord.h"
#include "install/MachineFiles.h"
#include "module/Registration.h"
#include "platform/ApoRegistration.h"
#include "system/RegistryUtils.h"
#include "text/Utf.h"

#include <tovix/Version.h>

#include <algorithm>
#include <utility>

namespace tovix::install {
namespace {

std::string quoted(const std::filesystem::path& path) {
    return "\"" + encodeUtf8(path.wstring()) + "\"";
}

/// Also where one has other letters' cases, or goes through a link.
bool isSamePath(const std::filesystem::path& one, const std::filesystem::path& other) {
    std::error_code ignored;
    return ::CompareStringOrdinal(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_EQUAL ||
           std::filesystem::equivalent(one, other, ignored);
}

/// Whether both are about the same key, value, folder or file.
bool isSameThing(const MachineChange& one, const MachineChange& other) {
    const auto isSame = [&other](const auto& change) {
        using Change = std::decay_t<decltype(change)>;
        const auto* const pOther = std::get_if<Change>(&other);
        if (pOther == nullptr) {
            return false;
        }
        if constexpr (std::is_same_v<Change, ValueChange>) {
            return change.key == pOther->key && change.name == pOther->name;
        } else if constexpr (std::is_same_v<Change, KeyChange>) {
            return change.key == pOther->key;
        } else if constexpr (std::is_same_v<Change, FolderChange>) {
            return isSamePath(change.folder, pOther->folder);
        } else {
            return isSamePath(change.file, pOther->file);
        }
    };
    return std::visit(isSame, one);
}

struct RegistryEntry {
    std::wstring key;
    std::wstring name;
    RegistryData data;
};

/// The engine's entry, as the library's own registration writes it.
class EngineEntry final : public ApoValues {
public:
    EngineEntry()
        : m_key(std::wstring(L"SOFTWARE\\Classes\\") + apoListKey + L'\\' + classIdText(registrationRecord.clsid)) {
        listApoValues(registrationRecord, *this);
    }

    void text(const wchar_t* name, const wchar_t* value) override { add(name, textData(value)); }
    void number(const wchar_t* name, DWORD value) override { add(name, numberData(value)); }

    [[nodiscard]] const std::wstring& key() const { return m_key; }
    [[nodiscard]] const std::vector<RegistryEntry>& entries() const { return m_entries; }
    [[nodiscard]] bool has(const std::wstring& name) const {
        return std::any_of(m_entries.begin(), m_entries.end(), [&](const auto& entry) { return entry.name == name; });
    }

private:
    void add(const wchar_t* name, RegistryData data) { m_entries.push_back({m_key, name, std::move(data)}); }

    std::wstring m_key;
    std::vector<RegistryEntry> m_entries;
};

/// Whose a thing is that is there before its first installation.
enum class Owner {
    /// Taken over: it goes with the installation.
    product,
    /// It stays, or comes back.
    machine,
};

/// Collects an installation's changes and the record of it.
class Planner {
public:
    Planner(const RegistryTree& registry, ChangeRecord former) : m_registry(registry), m_former(std::move(former)) {}

    void folder(const std::filesystem::path& path) {
        if (path.has_parent_path() && path.parent_path() != path) {
            folder(path.parent_path());
        }
        std::error_code ignored;
        const auto status = std::filesystem::status(path, ignored);
        if (std::filesystem::exists(status) && !std::filesystem::is_directory(status)) {
            throw InstallRefusal(Obstacle::fileRefused, quoted(path) + " is no folder.");
        }
        add(FolderChange{.folder = path}, std::filesystem::exists(status), Owner::machine);
    }

    void file(const std::filesystem::path& source, const std::filesystem::path& target) {
        const std::string content = contentOf(source);
        if (content.empty()) {
            throw InstallRefusal(Obstacle::fileRefused, "The package lacks " + quoted(source) + ".");
        }
        const std::string present = contentOf(target);
        if (present != content) {
            m_changes.emplace_back(FileChange{.file = target, .before = present, .after = content, .source = source});
        }
        record(FileChange{.file = target, .before = {}, .after = content, .source = {}});
    }

    void key(const std::wstring& key, Owner owner) {
        if (const auto end = key.find_last_of(L'\\'); end != std::wstring::npos) {
            this->key(key.substr(0, end), Owner::machine);
        }
        add(KeyChange{.key = key}, m_registry.hasKey(key), owner);
    }

    void value(const RegistryEntry& entry, Owner owner) {
        key(entry.key, owner);
        const auto present = m_registry.read(entry.key, entry.name);
        ValueChange change{.key = entry.key, .name = entry.name, .before = present, .after = entry.data};
        if (present != entry.data) {
            m_changes.emplace_back(change);
        }
        const auto* const pFormer = formerOf(change);
        change.before = owner == Owner::product ? std::nullopt
                        : pFormer != nullptr    ? std::get<ValueChange>(*pFormer).before
                                                : present;
        record(change);
    }

    /// Without a record of it: it is the product's, and goes now.
    void staleValue(const std::wstring& key, const std::wstring& name) {
        m_changes.emplace_back(
            ValueChange{.key = key, .name = name, .before = m_registry.read(key, name), .after = std::nullopt});
    }

    [[nodiscard]] const MachineChange* formerOf(const MachineChange& change) const {
        const auto found = std::find_if(m_former.begin(), m_former.end(),
                                        [&](const MachineChange& former) { return isSameThing(former, change); });
        return found != m_former.end() ? &*found : nullptr;
    }

    /// The plan, in which what the former installation has elsewhere goes and the rest of its record stays.
    MachinePlan finish() {
        ChangeRecord elsewhere;
        ChangeRecord kept;
        for (const auto& change : m_former) {
            const bool isOnDisk =
                std::holds_alternative<FileChange>(change) || std::holds_alternative<FolderChange>(change);
            if (!isRecorded(change)) {
                (isOnDisk ? elsewhere : kept).push_back(change);
            }
        }
        const TakingBack takingBack = install::takingBack(elsewhere, m_registry);
        m_changes.insert(m_changes.end(), takingBack.changes.begin(), takingBack.changes.end());
        m_record.insert(m_record.end(), kept.begin(), kept.end());
        MachinePlan plan;
        plan.noteLeftAlone(takingBack.leftAlone);
        if (!m_changes.empty() || m_record != m_former) {
            plan.transaction.changes = std::move(m_changes);
            plan.transaction.records.emplace(installationRecord, std::move(m_record));
        }
        return plan;
    }

private:
    /// A key or folder, once.
    void add(const MachineChange& change, bool isThere, Owner owner) {
        if (isRecorded(change) || isPlanned(change)) {
            return;
        }
        if (!isThere) {
            m_changes.push_back(change);
        }
        if (!isThere || owner == Owner::product || formerOf(change) != nullptr) {
            record(change);
        }
    }
    void record(const MachineChange& change) { m_record.push_back(change); }

    [[nodiscard]] static bool contains(const ChangeRecord& record, const MachineChange& change) {
        return std::any_of(record.begin(), record.end(),
                           [&](const MachineChange& other) { return isSameThing(other, change); });
    }
    [[nodiscard]] bool isRecorded(const MachineChange& change) const { return contains(m_record, change); }
    [[nodiscard]] bool isPlanned(const MachineChange& change) const { return contains(m_changes, change); }

    const RegistryTree& m_registry;
    ChangeRecord m_former;
    std::vector<MachineChange> m_changes;
    ChangeRecord m_record;
};

void planRegistration(Planner& planner, const RegistryTree& registry, const std::filesystem::path& library) {
    const EngineEntry engine;
    for (const auto& name : registry.valuesOf(engine.key())) {
        if (!engine.has(name)) {
            planner.staleValue(engine.key(), name);
        }
    }
    for (const auto& entry : engine.entries()) {
        planner.value(entry, Owner::product);
    }
    for (const auto& value : classValues(library.wstring())) {
        planner.value({value.key, value.name, textData(value.text)}, Owner::product);
    }
}

void planProtection(Planner& planner, const RegistryTree& registry, std::vector<std::string>& notes) {
    const RegistryEntry wished{protectionKey, protectionValue, numberData(1)};
    const auto present = registry.read(wished.key, wished.name);
    if (present && present->type != REG_DWORD) {
        throw InstallRefusal(Obstacle::foreignType, "The value \"" + encodeUtf8(wished.name) + "\" in HKLM\\" +
                                                        encodeUtf8(wished.key) +
                                                        " is no REG_DWORD, so it is left alone; remove it first.");
    }
    if (present != wished.data) {
        notes.emplace_back(
            "The audio engine's protection is switched off for the whole machine; programs that insist "
            "on a protected output may refuse to play.");
    }
    if (present != wished.data || planner.formerOf(ValueChange{.key = wished.key, .name = wished.name}) != nullptr) {
        planner.value(wished, Owner::machine);
    }
}

} // namespace

std::filesystem::path packagedFile(const std::filesystem::path& package, const std::filesystem::path& name) {
    return (name == loggerName ? package / L"logger" : package) / name;
}

MachinePlan planInstallation(const InstallationWish& wish, const RegistryTree& registry,
                             const ChangeJournal& journal) {
    Planner planner(registry, journal.find(installationRecord).value_or(ChangeRecord()));
    planner.folder(wish.folder);
    planner.file(packagedFile(wish.package, libraryName), wish.folder / libraryName);
    const auto logger = wish.folder / loggerName;
    if (wish.withLogger || planner.formerOf(FileChange{.file = logger}) != nullptr) {
        planner.file(packagedFile(wish.package, loggerName), logger);
    }
    planRegistration(planner, registry, wish.folder / libraryName);
    std::vector<std::string> notes;
    if (wish.allowUnsigned) {
        planProtection(planner, registry, notes);
    } else if (registry.read(protectionKey, protectionValue) != numberData(1)) {
        notes.emplace_back(
            "The audio engine loads a library that is not signed for it only after an installation with "
            "--allow-unsigned.");
    }
    MachinePlan plan = planner.finish();
    if (!plan.isEmpty()) {
        plan.sentences.push_back(std::string("Installs Tovix " TOVIX_VERSION " in ") + quoted(wish.folder) + ".");
    }
    plan.notes.insert(plan.notes.end(), notes.begin(), notes.end());
    return plan;
}

std::filesystem::path installedLibrary(const ChangeJournal& journal) {
    for (const auto& change : journal.find(installationRecord).value_or(ChangeRecord())) {
        const auto* const pFile = std::get_if<FileChange>(&change);
        if (pFile != nullptr && pFile->file.filename() == libraryName) {
            return pFile->file;
        }
    }
    return {};
}

} // namespace tovix::install
