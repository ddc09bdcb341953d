#pragma once

#include "apo/EffectKeys.h"
#include "install/RegistryTree.h"

#include <optional>
#include <string>
#include <vector>

namespace tovix::install {

/// Where the system keeps its output devices, below the machine's key.
inline constexpr const wchar_t* outputDevicesKey =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio\\Render";

/// What stands under one effect key of a device.
struct EffectRow {
    /// One of `effectKeys`.
    const EffectKey* pKey = nullptr;
    RegistryData data;
    /// The classes in braced text, as they stand there; none where the value has another type than it should have.
    std::optional<std::vector<std::wstring>> classes;
};

/// An output device as its properties in the registry describe it.
struct OutputDevice {
    /// The endpoint's identifier, braced: its key's name.
    std::wstring id;
    /// "Speakers", and the name of what they are connected to; empty where a property is missing.
    std::wstring name;
    std::wstring interfaceName;
    DWORD state = 0;
    bool isDefault = false;
    bool hasEffectProperties = false;
    bool enhancementsOff = false;
    /// The effect keys that are set, in the order of `effectKeys`.
    std::vector<EffectRow> rows;

    [[nodiscard]] bool isActive() const noexcept { return state == 1; }
    /// The device's key and that of its effect properties, below the machine's key.
    [[nodiscard]] std::wstring key() const;
    [[nodiscard]] std::wstring effectPropertiesKey() const;
    /// The row in which this effect's class stands; null where it stands in none.
    [[nodiscard]] const EffectRow* attachedRow() const noexcept;
};

/// All are [control]; they throw InstallRefusal.

/// All output devices, sorted by name. `defaultId` is that of the system's default device, empty where there is none.
std::vector<OutputDevice> readOutputDevices(const RegistryTree& registry, const std::wstring& defaultId);

/// The identifier of the default output device, as the system's device enumerator has it; empty where there is none.
std::wstring defaultOutputDevice();

/// The one device that a user means: by its identifier, its name, its whole "name (interface)", or a part of that
/// which only one has; letters in either case. Of several the only active one. Throws noDevice, ambiguousDevice.
const OutputDevice& chooseDevice(const std::vector<OutputDevice>& devices, const std::wstring& text);

/// The name under which a class is registered: the audio engine's, else COM's; none where it is not registered.
std::optional<std::wstring> registeredName(const RegistryTree& registry, const std::wstring& classId);

} // namespace tovix::install
