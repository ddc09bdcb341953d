#pragma once

#include "install/MachinePlan.h"
#include "install/OutputDevices.h"
#include "support/TemporaryFolder.h"

#include <functional>
#include <map>
#include <string>
#include <utility>

namespace tovix::test {

/// Everything in a registry tree: for each key, from the topmost, its values by name.
using RegistryState = std::map<std::wstring, std::map<std::wstring, std::pair<DWORD, std::vector<BYTE>>>>;
/// Everything in a folder: the contents of the files by their names in it; a folder has its name's slash at the end.
using FolderState = std::map<std::wstring, std::string>;

/// Adds everything from `key` on.
void collect(const install::RegistryTree& registry, const std::wstring& key, RegistryState& all);
FolderState everythingIn(const std::filesystem::path& folder);

/// A registry tree and a folder of a test's own, both empty at first and gone afterwards.
class ScratchMachine {
public:
    ScratchMachine();
    ~ScratchMachine();

    install::RegistryTree registry;
    TemporaryFolder folder;
    install::ChangeJournal journal{registry};

    /// Makes the key and those above it.
    void makeKeys(const std::wstring& key);
    /// Makes the value, its key and those above it.
    void put(const std::wstring& key, const std::wstring& name, const install::RegistryData& data);

    [[nodiscard]] std::pair<RegistryState, FolderState> all() const;

    install::MachinePlan carryOut(install::MachinePlan plan);

    /// Carries out what `plan` returns, and expects that the next command finds all of it or nothing wherever it is
    /// cut off, though what puts it right is cut off too. `back` undoes it.
    void expectAllOrNothing(const std::function<install::MachinePlan()>& plan, const std::function<void()>& back);
};

/// Texts of the effect properties by the number at the end of their names.
inline std::wstring effectKey(int number) {
    return L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d}," + std::to_wstring(number);
}
inline std::wstring modesKey(int number) {
    return L"{d3993a3f-99c2-4402-b5ec-a92a0367664b}," + std::to_wstring(number);
}

inline constexpr const wchar_t* tovixClass = L"{8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}";
inline constexpr const wchar_t* vendorClass = L"{2A0F1C55-0B1E-4E0B-9C0B-1F0E3B5C7D11}";
inline constexpr const wchar_t* otherClass = L"{77B3E9D2-4C1A-4D8F-8E21-9A5B6C7D8E22}";
inline constexpr const wchar_t* defaultMode = L"{C18E2F7E-933D-4965-B7D1-1EEF228D2AF3}";
inline constexpr const wchar_t* otherMode = L"{4780004E-7133-41D8-8C74-660DADD2C0EE}";

/// An output device of a test.
struct ScratchDevice {
    std::wstring id = L"{0D000000-0000-4000-8000-000000000001}";
    std::wstring name = L"Speakers";
    std::wstring interfaceName = L"High Definition Audio";
    DWORD state = 1;

    void putInto(install::RegistryTree& registry) const;
};

} // namespace tovix::test
