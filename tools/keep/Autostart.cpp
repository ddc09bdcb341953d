#include "keep/Autostart.h"

#include "host/SystemQueries.h"
#include "keep/BackgroundProgram.h"
#include "keep/KeepRefusal.h"
#include "system/WinHandles.h"
#include "text/Utf.h"

namespace tovix::keep {
namespace {

constexpr const wchar_t* valueName = L"Tovix";

void require(LSTATUS result, const char* what) {
    if (result != ERROR_SUCCESS) {
        throw KeepRefusal(Obstacle::registryRefused, "The autostart entry cannot be " + std::string(what) + ": " +
                                                         describeSystemError(static_cast<DWORD>(result)) + ".");
    }
}

/// Null where there is no such key.
RegistryKey openRunKey(REGSAM access) {
    HKEY hKey = nullptr;
    const LSTATUS result =
        ::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Run", 0, access, &hKey);
    RegistryKey key(result == ERROR_SUCCESS ? hKey : nullptr);
    require(result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result, "read");
    return key;
}

/// The value's text; empty for a value without text, none where there is no value.
std::optional<std::wstring> readEntry(HKEY hKey) {
    std::wstring text(32768, L'\0'); // more than a command line can have
    auto sizeBytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    const LSTATUS result = ::RegGetValueW(hKey, nullptr, valueName, RRF_RT_REG_SZ, nullptr, text.data(), &sizeBytes);
    if (result == ERROR_FILE_NOT_FOUND) {
        return std::nullopt;
    }
    if (result == ERROR_UNSUPPORTED_TYPE || result == ERROR_MORE_DATA) {
        return std::wstring();
    }
    require(result, "read");
    text.resize(sizeBytes / sizeof(wchar_t) - 1); // its NUL is counted
    return text;
}

} // namespace

Autostart readAutostart() {
    const auto key = openRunKey(KEY_QUERY_VALUE);
    const auto entry = key ? readEntry(key.get()) : std::nullopt;
    return {autostartState(entry, ownProgramPath()), entry.value_or(L"")};
}

void switchAutostartOn() {
    constexpr std::size_t longestCommand = 260; // what Windows runs from this key
    const auto found = readAutostart();
    if (found.state == AutostartState::foreign) {
        throw KeepRefusal(Obstacle::foreignEntry, "The autostart entry \"" + encodeUtf8(valueName) +
                                                      "\" is another program's (" + encodeUtf8(found.entry) +
                                                      ") and stays as it is.");
    }
    const std::wstring command = autostartCommand(ownProgramPath());
    if (command.size() > longestCommand) {
        throw KeepRefusal(Obstacle::registryRefused,
                          "The path of this program is too long for an autostart entry, which takes " +
                              std::to_string(longestCommand) + " characters.");
    }
    HKEY hKey = nullptr;
    require(::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Run", 0, nullptr, 0,
                              KEY_SET_VALUE, nullptr, &hKey, nullptr),
            "written");
    const RegistryKey key(hKey);
    require(::RegSetValueExW(hKey, valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(command.c_str()),
                             static_cast<DWORD>((command.size() + 1) * sizeof(wchar_t))),
            "written");
}

Autostart removeAutostart() {
    auto found = readAutostart();
    if (found.state == AutostartState::on || found.state == AutostartState::otherCopy) {
        const auto key = openRunKey(KEY_SET_VALUE);
        require(key ? ::RegDeleteValueW(key.get(), valueName) : ERROR_SUCCESS, "removed");
    }
    return found;
}

} // namespace tovix::keep
