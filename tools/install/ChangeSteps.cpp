#include "install/ChangeSteps.h"

#include "install/InstallRefusal.h"
#include "install/MachineFiles.h"

namespace tovix::install {
namespace {

/// Beside a file: its next content until that is whole, and its former one until the command has finished.
std::filesystem::path comingName(std::filesystem::path file) {
    return file += L".tovix-new";
}
std::filesystem::path formerName(std::filesystem::path file) {
    return file += L".tovix-old";
}

void removeEmptyKey(const std::wstring& key, RegistryTree& registry) {
    if (!registry.keysBelow(key).empty() || !registry.valuesOf(key).empty()) {
        return;
    }
    try {
        registry.removeKey(key);
    } catch (const InstallRefusal& refusal) {
        // Writing is all that the restore privilege promises; an empty key does nothing.
        if (refusal.status() != Obstacle::registryRefused) {
            throw;
        }
    }
}

void makeKey(const std::wstring& key, bool present, RegistryTree& registry) {
    if (!present) {
        removeEmptyKey(key, registry);
    } else if (!registry.hasKey(key)) {
        registry.createKey(key);
    }
}

void makeValue(const ValueChange& change, const std::optional<RegistryData>& data, RegistryTree& registry) {
    if (data) {
        registry.write(change.key, change.name, *data);
    } else {
        registry.remove(change.key, change.name);
    }
}

[[noreturn]] void refuseChanged(const MachineChange& change) {
    throw InstallRefusal(
        std::holds_alternative<FileChange>(change) ? Obstacle::fileRefused : Obstacle::registryRefused,
        "Something else has changed this in the meantime, so nothing was done: " + describe(change) + ".");
}

class Make {
public:
    explicit Make(RegistryTree& registry) : m_registry(registry) {}

    void operator()(const KeyChange& change) const { makeKey(change.key, change.comes, m_registry); }
    void operator()(const ValueChange& change) const {
        const auto data = m_registry.read(change.key, change.name);
        if (data == change.after) {
            return;
        }
        if (data != change.before) {
            refuseChanged(change);
        }
        makeValue(change, change.after, m_registry);
    }
    void operator()(const FolderChange& change) const {
        if (change.comes) {
            createFolder(change.folder);
        } // else at the end: it still holds the former files
    }
    void operator()(const FileChange& change) const {
        const std::string content = contentOf(change.file);
        if (content == change.after) {
            return;
        }
        if (content != change.before) {
            refuseChanged(change);
        }
        requireUnused(change.file);
        if (!change.after.empty()) {
            const auto coming = comingName(change.file);
            copyFile(change.source, coming);
            if (contentOf(coming) != change.after) {
                refuseChanged(change);
            }
        }
        if (!change.before.empty()) {
            renameFile(change.file, formerName(change.file));
        }
        if (!change.after.empty()) {
            renameFile(comingName(change.file), change.file);
        }
    }

private:
    RegistryTree& m_registry;
};

class TakeBack {
public:
    explicit TakeBack(RegistryTree& registry) : m_registry(registry) {}

    void operator()(const KeyChange& change) const { makeKey(change.key, !change.comes, m_registry); }
    void operator()(const ValueChange& change) const {
        if (change.after != change.before && m_registry.read(change.key, change.name) == change.after &&
            m_registry.hasKey(change.key)) {
            makeValue(change, change.before, m_registry);
        }
    }
    void operator()(const FolderChange& change) const {
        if (change.comes) {
            removeFolder(change.folder);
        }
    }
    void operator()(const FileChange& change) const {
        const auto former = formerName(change.file);
        const std::string content = contentOf(change.file);
        // Not in use, so that it goes now and not at the next start, when something else may have its name.
        if (!change.before.empty() && content != change.before && contentOf(former) == change.before) {
            requireUnused(change.file);
            renameFile(former, change.file);
        } else if (change.before.empty() && content == change.after) {
            requireUnused(change.file);
            removeFile(change.file);
        }
        removeFile(comingName(change.file));
    }

private:
    RegistryTree& m_registry;
};

} // namespace

void make(const MachineChange& change, RegistryTree& registry) {
    std::visit(Make(registry), change);
}

void takeBack(const MachineChange& change, RegistryTree& registry) {
    std::visit(TakeBack(registry), change);
}

void finish(const MachineChange& change) {
    if (const auto* const pFile = std::get_if<FileChange>(&change)) {
        removeFile(formerName(pFile->file));
    } else if (const auto* const pFolder = std::get_if<FolderChange>(&change);
               pFolder != nullptr && !pFolder->comes) {
        removeFolder(pFolder->folder);
    }
}

} // namespace tovix::install
