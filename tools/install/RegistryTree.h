#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace tovix::install {

/// A registry value as it is stored. Nothing is interpreted, so that what is put back has the type and the bytes that
/// it had.
struct RegistryData {
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes;

    friend bool operator==(const RegistryData&, const RegistryData&) = default;
};

/// [control] Data of a REG_DWORD, of a REG_SZ, and of a REG_MULTI_SZ.
RegistryData numberData(DWORD number);
RegistryData textData(const std::wstring& text);
RegistryData listData(const std::vector<std::wstring>& texts);

/// [control] The texts of a REG_SZ or REG_EXPAND_SZ (one) or of a REG_MULTI_SZ, with or without their last
/// terminators; none for another type or an odd number of bytes.
std::optional<std::vector<std::wstring>> textsOf(const RegistryData& data);

/// [control] The first of them; empty where there is none, or no value.
std::wstring firstTextOf(const std::optional<RegistryData>& data);

/// The only way to the registry of whatever installs, attaches or takes off: a key of the 64-bit view and all that is
/// below it. Paths are relative to that key, in the registry's own form. [control], one thread at a time. Throws
/// InstallRefusal with the name of the key and the system's reason.
///
/// Reading asks for no more than a user has, and tries the backup privilege where that is refused. Every change opens
/// its key with REG_OPTION_BACKUP_RESTORE, with the backup and restore privileges switched on for that moment: device
/// properties are closed even to administrators, and so neither an owner nor an access list has to be touched.
/// Without these privileges a change is refused as "not elevated".
class RegistryTree {
public:
    /// All of HKEY_LOCAL_MACHINE.
    static RegistryTree machine();

    /// What is below `path` in `root`, a predefined key; for tests.
    RegistryTree(HKEY root, std::wstring path);

    [[nodiscard]] bool hasKey(const std::wstring& key) const;

    /// Names, in the registry's order. Empty where there is no such key.
    [[nodiscard]] std::vector<std::wstring> keysBelow(const std::wstring& key) const;
    [[nodiscard]] std::vector<std::wstring> valuesOf(const std::wstring& key) const;

    /// None where there is no such key or value. An empty name is the key's default value.
    [[nodiscard]] std::optional<RegistryData> read(const std::wstring& key, const std::wstring& name) const;

    /// Creates a key whose parent is there.
    void createKey(const std::wstring& key);

    /// Removes a key that has no keys below it; one that is not there is no failure.
    void removeKey(const std::wstring& key);

    /// Into a key that is there.
    void write(const std::wstring& key, const std::wstring& name, const RegistryData& data);

    /// Has all that was changed below the key on the disk when it returns; a failure only means that it is there
    /// later.
    void flush(const std::wstring& key);

    /// A value that is not there is no failure.
    void remove(const std::wstring& key, const std::wstring& name);

private:
    [[nodiscard]] std::wstring below(const std::wstring& key) const;

    HKEY m_root;
    std::wstring m_path;
};

} // namespace tovix::install
