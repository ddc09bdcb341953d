#pragma once

#include <windows.h>

namespace tovix {

/// [control] Registers the effect with the audio engine and its class with COM, the module `instance` being the
/// server. A failure takes the engine's registration back. Never throws.
HRESULT registerServer(HINSTANCE instance) noexcept;

/// [control] Takes both registrations back. What is not registered is a failure. Never throws.
HRESULT unregisterServer() noexcept;

} // namespace tovix
