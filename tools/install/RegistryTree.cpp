#include "install/RegistryTree.h"

#include "host/SystemQueries.h"
#include "install/BackupPrivileges.h"
#include "install/InstallRefusal.h"
#include "install/MachineChanged.h"
#include "system/WinHandles.h"
#include "text/Utf.h"

#include <cstring>
#include <string_view>
#include <utility>

namespace tovix::install {
namespace {

[[noreturn]] void refuse(const std::string& step, const std::wstring& key, LSTATUS error) {
    throw InstallRefusal(Obstacle::registryRefused,
                         "The system refuses to " + step + " the registry key \"" + encodeUtf8(key) +
                             "\": " + describeSystemError(static_cast<DWORD>(error)) + ".");
}

bool isMissing(LSTATUS error) noexcept {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

/// Opens a key whose access list forbids it with the backup privilege, where this process has that.
LSTATUS openAsBackup(HKEY root, const std::wstring& path, HKEY& hKey) {
    try {
        const BackupPrivileges privileges;
        return ::RegOpenKeyExW(root, path.c_str(), REG_OPTION_BACKUP_RESTORE, KEY_READ | KEY_WOW64_64KEY, &hKey);
    } catch (const InstallRefusal&) {
        return ERROR_ACCESS_DENIED;
    }
}

/// The key open for reading; null where there is none.
RegistryKey openToRead(HKEY root, const std::wstring& path) {
    HKEY hKey = nullptr;
    LSTATUS error = ::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &hKey);
    if (error == ERROR_ACCESS_DENIED) {
        error = openAsBackup(root, path, hKey);
    }
    if (error != ERROR_SUCCESS && !isMissing(error)) {
        refuse("read", path, error);
    }
    return RegistryKey(error == ERROR_SUCCESS ? hKey : nullptr);
}

/// The key open for any change, made where it is missing.
RegistryKey openToChange(HKEY root, const std::wstring& path, const char* step) {
    HKEY hKey = nullptr;
    const LSTATUS error =
        ::RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE | REG_OPTION_BACKUP_RESTORE,
                          KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &hKey, nullptr);
    if (error != ERROR_SUCCESS) {
        refuse(step, path, error);
    }
    return RegistryKey(hKey);
}

std::vector<BYTE> bytesOf(const void* pData, std::size_t size) {
    std::vector<BYTE> bytes(size);
    if (size > 0) {
        std::memcpy(bytes.data(), pData, size);
    }
    return bytes;
}

/// All that `next(hKey, index, pName, pLength)` enumerates in a key; empty where there is no such key.
template <class Next>
std::vector<std::wstring> names(HKEY root, const std::wstring& path, DWORD longest, const Next& next) {
    const RegistryKey opened = openToRead(root, path);
    std::vector<std::wstring> names;
    std::wstring name(longest, L'\0');
    for (LSTATUS error = opened ? ERROR_SUCCESS : ERROR_NO_MORE_ITEMS; error == ERROR_SUCCESS;) {
        DWORD length = longest;
        error = next(opened.get(), static_cast<DWORD>(names.size()), name.data(), &length);
        if (error == ERROR_SUCCESS) {
            names.push_back(name.substr(0, length));
        } else if (error != ERROR_NO_MORE_ITEMS) {
            refuse("read", path, error);
        }
    }
    return names;
}

/// Deletes the key behind a handle. The documented function opens the key anew, which an access list may forbid.
LSTATUS deleteKey(HKEY hKey) noexcept {
    using DeleteKey = LONG NTAPI(HANDLE hKey);
    using ErrorOf = ULONG NTAPI(LONG status);
    const HMODULE hNtdll = ::GetModuleHandleW(L"ntdll.dll");
    auto* const pDelete = moduleExport<DeleteKey>(hNtdll, "NtDeleteKey");
    auto* const pErrorOf = moduleExport<ErrorOf>(hNtdll, "RtlNtStatusToDosError");
    if (pDelete == nullptr || pErrorOf == nullptr) {
        return ERROR_PROC_NOT_FOUND;
    }
    const LONG status = pDelete(hKey);
    return status >= 0 ? ERROR_SUCCESS : static_cast<LSTATUS>(pErrorOf(status));
}

} // namespace

RegistryData numberData(DWORD number) {
    return {.type = REG_DWORD, .bytes = bytesOf(&number, sizeof number)};
}

RegistryData textData(const std::wstring& text) {
    return {.type = REG_SZ, .bytes = bytesOf(text.c_str(), (text.size() + 1) * sizeof(wchar_t))};
}

RegistryData listData(const std::vector<std::wstring>& texts) {
    std::wstring all;
    for (const auto& text : texts) {
        all.append(text).push_back(L'\0');
    }
    return {.type = REG_MULTI_SZ, .bytes = bytesOf(all.c_str(), (all.size() + 1) * sizeof(wchar_t))};
}

std::optional<std::vector<std::wstring>> textsOf(const RegistryData& data) {
    const bool list = data.type == REG_MULTI_SZ;
    if ((!list && data.type != REG_SZ && data.type != REG_EXPAND_SZ) || data.bytes.size() % sizeof(wchar_t) != 0) {
        return std::nullopt;
    }
    std::wstring all(data.bytes.size() / sizeof(wchar_t), L'\0');
    if (!all.empty()) {
        std::memcpy(all.data(), data.bytes.data(), data.bytes.size());
    }
    std::vector<std::wstring> texts;
    for (std::size_t begin = 0; begin < all.size() && all[begin] != L'\0';) {
        const std::size_t end = std::min(all.find(L'\0', begin), all.size());
        texts.push_back(all.substr(begin, end - begin));
        begin = list ? end + 1 : all.size();
    }
    return texts;
}

std::wstring firstTextOf(const std::optional<RegistryData>& data) {
    const auto texts = data ? textsOf(*data) : std::nullopt;
    return texts && !texts->empty() ? texts->front() : L"";
}

RegistryTree RegistryTree::machine() {
    return {HKEY_LOCAL_MACHINE, L""};
}

RegistryTree::RegistryTree(HKEY root, std::wstring path) : m_root(root), m_path(std::move(path)) {}

std::wstring RegistryTree::below(const std::wstring& key) const {
    return m_path.empty() || key.empty() ? m_path + key : m_path + L'\\' + key;
}

bool RegistryTree::hasKey(const std::wstring& key) const {
    return openToRead(m_root, below(key)) != nullptr;
}

std::vector<std::wstring> RegistryTree::keysBelow(const std::wstring& key) const {
    constexpr DWORD longestKeyName = 256;
    return names(m_root, below(key), longestKeyName, [](HKEY hKey, DWORD index, wchar_t* pName, DWORD* pLength) {
        return ::RegEnumKeyExW(hKey, index, pName, pLength, nullptr, nullptr, nullptr, nullptr);
    });
}

std::vector<std::wstring> RegistryTree::valuesOf(const std::wstring& key) const {
    constexpr DWORD longestValueName = 16'384;
    return names(m_root, below(key), longestValueName, [](HKEY hKey, DWORD index, wchar_t* pName, DWORD* pLength) {
        return ::RegEnumValueW(hKey, index, pName, pLength, nullptr, nullptr, nullptr, nullptr);
    });
}

std::optional<RegistryData> RegistryTree::read(const std::wstring& key, const std::wstring& name) const {
    const RegistryKey opened = openToRead(m_root, below(key));
    LSTATUS error = opened ? ERROR_MORE_DATA : ERROR_FILE_NOT_FOUND;
    RegistryData data;
    while (error == ERROR_MORE_DATA) { // the value may grow between two calls
        DWORD size = 0;
        error = ::RegQueryValueExW(opened.get(), name.c_str(), nullptr, &data.type, nullptr, &size);
        if (error == ERROR_SUCCESS) {
            data.bytes.resize(size + 1); // never null, which would only ask for the size
            error = ::RegQueryValueExW(opened.get(), name.c_str(), nullptr, &data.type, data.bytes.data(), &size);
            data.bytes.resize(error == ERROR_SUCCESS ? size : 0);
        }
    }
    if (isMissing(error)) {
        return std::nullopt;
    }
    if (error != ERROR_SUCCESS) {
        refuse("read", below(key), error);
    }
    return data;
}

void RegistryTree::createKey(const std::wstring& key) {
    const BackupPrivileges privileges;
    openToChange(m_root, below(key), "create");
    machineChanged();
}

void RegistryTree::removeKey(const std::wstring& key) {
    if (!hasKey(key)) {
        return;
    }
    const BackupPrivileges privileges;
    const RegistryKey opened = openToChange(m_root, below(key), "remove");
    if (const LSTATUS error = deleteKey(opened.get()); error != ERROR_SUCCESS) {
        refuse("remove", below(key), error);
    }
    machineChanged();
}

void RegistryTree::write(const std::wstring& key, const std::wstring& name, const RegistryData& data) {
    if (!hasKey(key)) {
        refuse("write to", below(key), ERROR_FILE_NOT_FOUND);
    }
    const BackupPrivileges privileges;
    const RegistryKey opened = openToChange(m_root, below(key), "write to");
    const LSTATUS error = ::RegSetValueExW(opened.get(), name.c_str(), 0, data.type, data.bytes.data(),
                                           static_cast<DWORD>(data.bytes.size()));
    if (error != ERROR_SUCCESS) {
        refuse("write to", below(key), error);
    }
    machineChanged();
}

void RegistryTree::flush(const std::wstring& key) {
    HKEY hKey = nullptr;
    if (::RegOpenKeyExW(m_root, below(key).c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &hKey) == ERROR_SUCCESS) {
        const RegistryKey opened(hKey);
        ::RegFlushKey(hKey);
    }
}

void RegistryTree::remove(const std::wstring& key, const std::wstring& name) {
    if (!read(key, name)) {
        return;
    }
    const BackupPrivileges privileges;
    const RegistryKey opened = openToChange(m_root, below(key), "write to");
    const LSTATUS error = ::RegDeleteValueW(opened.get(), name.c_str());
    if (error != ERROR_SUCCESS && !isMissing(error)) {
        refuse("write to", below(key), error);
    }
    machineChanged();
}

} // namespace tovix::install
