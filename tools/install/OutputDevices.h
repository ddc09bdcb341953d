#pragma once

#include "install/EffectProperties.h"
#include "install/RegistryTree.h"

#include <optional>
#include <string>
#include <vector>

namespace tovix::install {

/// Where the system keeps its output devices, below the machine's key.
inline constexpr const wchar_t* outputDevicesKey =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio\\Render";

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
    EffectProperties effects;

    [[nodiscard]] bool isActive() const noexcept { return state == 1; }
    /// "Speakers (High Definition Audio)", as the system shows it.
    [[nodiscard]] std::wstring fullName() const;
};

/// All are [control]; they throw InstallRefusal.

/// The key of a device, and that of its effect properties, below the machine's key.
std::wstring deviceKey(const std::wstring& id);
std::wstring effectPropertiesKey(const std::wstring& id);

/// One device; none where there is none of that identifier.
std::optional<OutputDevice> readOutputDevice(const RegistryTree& registry, const std::wstring& id);

/// All output devices but those that the system refuses to read, sorted by name. `defaultId` is that of the system's
/// default device, empty where there is none.
std::vector<OutputDevice> readOutputDevices(const RegistryTree& registry, const std::wstring& defaultId);

/// The identifier of the default output device, as the system's device enumerator has it; empty where there is none.
std::wstring defaultOutputDevice();

/// The one device that a user means: by its identifier, its name, its whole "name (interface)", or a part of that
/// which only one has; letters in either case. Of several the only active one. Throws noDevice, ambiguousDevice.
const OutputDevice& chooseDevice(const std::vector<OutputDevice>& devices, const std::wstring& text);

/// The name under which a class that COM can make is registered: the audio engine's for it, else COM's, else nothing;
/// none where the class is not registered.
std::optional<std::wstring> registeredName(const RegistryTree& registry, const std::wstring& classId);

/// That name for the user, in UTF-8, or words for what there is instead of one.
std::string describeRegistration(const RegistryTree& registry, const std::wstring& classId);

} // namespace tovix::install
