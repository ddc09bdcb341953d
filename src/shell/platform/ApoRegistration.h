#pragma once

#include "platform/ApoInterfaces.h"

namespace tovix {

/// The engine's list of effects, "AudioEngine\AudioProcessingObjects" under HKEY_CLASSES_ROOT: one key per class,
/// named by its braced text. Both are [control], never throw and return the system's error as a result code.

/// Writes the record's key afresh: whatever stands there is deleted first. A failure leaves what was written.
HRESULT RegisterAPO(const APO_REG_PROPERTIES& properties) noexcept;

/// Deletes the key of the class.
HRESULT UnregisterAPO(REFCLSID classId) noexcept;

} // namespace tovix
