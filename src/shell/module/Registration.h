#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace tovix {

/// A text value of the class's registration with COM; the key below HKEY_LOCAL_MACHINE.
struct ClassValue {
    std::wstring key;
    std::wstring name;
    std::wstring text;
};

/// [control] The values in their order, the first of a key before those of keys below it. Whoever registers the class
/// otherwise writes the same.
std::vector<ClassValue> classValues(const std::wstring& modulePath);

/// [control] Registers the effect with the audio engine and its class with COM, the module `instance` being the
/// server. A failure takes the engine's registration back. Never throws.
HRESULT registerServer(HINSTANCE instance) noexcept;

/// [control] Takes both registrations back. What is not registered is a failure. Never throws.
HRESULT unregisterServer() noexcept;

} // namespace tovix
