#pragma once

#include <guiddef.h>

#include <exception>
#include <string>
#include <utility>

namespace tovix {

/// [control] A registry operation that failed. The message names the step, the key or value and the system's reason.
class RegistryException : public std::exception {
public:
    explicit RegistryException(std::wstring message) : m_message(std::move(message)) {}

    [[nodiscard]] const std::wstring& message() const noexcept { return m_message; }
    [[nodiscard]] const char* what() const noexcept override { return "registry operation failed"; }

private:
    std::wstring m_message;
};

/// Operations on the 64-bit view of the registry. A key is one text: a root such as "HKEY_LOCAL_MACHINE" in any
/// case, a backslash and the path below it. All are [control] and throw RegistryException.

/// Opens the key for setting values, creating it and those above it where they are missing.
void createRegistryKey(const std::wstring& key);

/// Writes a string value into an existing key; an empty `valueName` is the key's default value.
void writeRegistryValue(const std::wstring& key, const std::wstring& valueName, const std::wstring& value);

/// Deletes a key that has no keys below it.
void deleteRegistryKey(const std::wstring& key);

/// A class identifier in braced text.
std::wstring classIdText(REFCLSID classId);

} // namespace tovix
