#pragma once

#include "install/RegistryTree.h"
#include "support/TemporaryFolder.h"

#include <map>
#include <string>
#include <utility>

namespace tovix::test {

/// What a test's `machineChanged` throws: nothing that the program catches, so that all is left as if the process had
/// been ended by force.
struct EndedByForce {};

/// Throws EndedByForce at the `count`-th change from now on; 0 never. Returns how many changes there have been since
/// the last call.
int endAtChange(int count);

/// A registry tree and a folder of a test's own, both empty at first and gone afterwards.
class ScratchMachine {
public:
    /// Everything in a registry tree: for each key, from the topmost, its values by name.
    using Registry = std::map<std::wstring, std::map<std::wstring, std::pair<DWORD, std::vector<BYTE>>>>;
    /// Everything in a folder: the contents of the files; a folder has its name's slash at the end.
    using Files = std::map<std::wstring, std::string>;

    ScratchMachine();
    ~ScratchMachine();

    install::RegistryTree registry;
    TemporaryFolder folder;

    /// Makes the key and those above it.
    void makeKeys(const std::wstring& key);
    /// Makes the value, its key and those above it.
    void put(const std::wstring& key, const std::wstring& name, const install::RegistryData& data);

    [[nodiscard]] std::pair<Registry, Files> all() const;
};

/// Adds everything from `key` on.
void collect(const install::RegistryTree& registry, const std::wstring& key, ScratchMachine::Registry& all);

} // namespace tovix::test
