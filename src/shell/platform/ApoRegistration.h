#pragma once

#include "platform/ApoInterfaces.h"

namespace tovix {

/// Receives the values of an entry in the engine's list, in their order.
class ApoValues {
public:
    virtual void text(const wchar_t* name, const wchar_t* value) = 0;
    virtual void number(const wchar_t* name, DWORD value) = 0;

protected:
    ~ApoValues() = default;
};

/// [control] What the engine's list has of an effect: whoever registers it otherwise writes the same. Throws only
/// what `values` throws.
void listApoValues(const APO_REG_PROPERTIES& properties, ApoValues& values);

/// Below HKEY_CLASSES_ROOT.
inline constexpr const wchar_t* apoListKey = L"AudioEngine\\AudioProcessingObjects";

/// The engine's list of effects, "AudioEngine\AudioProcessingObjects" under HKEY_CLASSES_ROOT: one key per class,
/// named by its braced text. Both are [control], never throw and return the system's error as a result code.

/// Writes the record's key afresh: whatever stands there is deleted first. A failure leaves what was written.
HRESULT RegisterAPO(const APO_REG_PROPERTIES& properties) noexcept;

/// Deletes the key of the class.
HRESULT UnregisterAPO(REFCLSID classId) noexcept;

} // namespace tovix
