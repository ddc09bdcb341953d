#include "install/OutputDevices.h"

#include "install/InstallRefusal.h"
#include "platform/ComEdge.h"
#include "text/Utf.h"

#include <mmdeviceapi.h>
#include <objbase.h>

#include <algorithm>
#include <cstring>
#include <functional>

namespace tovix::install {
namespace {

constexpr const wchar_t* nameKey = L"{a45c254e-df1c-4efd-8020-67d146a850e0},2";
constexpr const wchar_t* interfaceNameKey = L"{b3f8fa53-0004-438e-9003-51a46e139bfc},6";
constexpr const wchar_t* classesKey = L"SOFTWARE\\Classes\\";

constexpr CLSID deviceEnumeratorClass{0xBCDE0395, 0xE52F, 0x467C, {0x8E, 0x3D, 0xC4, 0x57, 0x92, 0x91, 0x69, 0x2E}};
constexpr IID deviceEnumeratorInterface{0xA95664D2, 0x9614, 0x4F35, {0xA7, 0x46, 0xDE, 0x8D, 0xB6, 0x36, 0x17, 0xE6}};

DWORD readNumber(const RegistryTree& registry, const std::wstring& key, const std::wstring& name) {
    const auto data = registry.read(key, name);
    DWORD number = 0;
    if (data && data->type == REG_DWORD && data->bytes.size() == sizeof number) {
        std::memcpy(&number, data->bytes.data(), sizeof number);
    }
    return number;
}

std::wstring inCapitals(const std::wstring& text) {
    std::wstring capitals(text.size(), L'\0');
    ::LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, text.data(), static_cast<int>(text.size()),
                    capitals.data(), static_cast<int>(capitals.size()), nullptr, nullptr, 0);
    return capitals;
}

/// The braced part at the end of an endpoint's identifier, "{0.0.0.00000000}.{...}", which is its key's name.
std::wstring keyNameOf(const std::wstring& endpoint) {
    const auto begin = endpoint.rfind(L'{');
    return begin != std::wstring::npos ? endpoint.substr(begin) : endpoint;
}

/// The one of `found`, or the only active one; null where there are none. Throws where more may be meant.
const OutputDevice* onlyOne(const std::vector<const OutputDevice*>& found, const std::wstring& text) {
    if (found.size() <= 1) {
        return found.empty() ? nullptr : found.front();
    }
    const auto isActive = [](const OutputDevice* pDevice) { return pDevice->isActive(); };
    if (std::count_if(found.begin(), found.end(), isActive) == 1) {
        return *std::find_if(found.begin(), found.end(), isActive);
    }
    std::wstring list;
    for (const OutputDevice* const pDevice : found) {
        list += (list.empty() ? L": " : L", ") + pDevice->fullName() + L' ' + pDevice->id;
    }
    throw InstallRefusal(Obstacle::ambiguousDevice,
                         encodeUtf8(L"More than one output device may be meant by \"" + text + L"\"" + list + L"."));
}

/// None also where the system refuses to read it: one such device is no reason to do without the others.
std::optional<OutputDevice> readIfAllowed(const RegistryTree& registry, const std::wstring& id) {
    try {
        return readOutputDevice(registry, id);
    } catch (const InstallRefusal& refusal) {
        if (refusal.status() != Obstacle::registryRefused) {
            throw;
        }
        return std::nullopt;
    }
}

} // namespace

std::wstring OutputDevice::fullName() const {
    if (name.empty() || interfaceName.empty()) {
        return name.empty() && interfaceName.empty() ? id : name + interfaceName;
    }
    return name + L" (" + interfaceName + L")";
}

std::wstring deviceKey(const std::wstring& id) {
    return std::wstring(outputDevicesKey) + L'\\' + id;
}

std::wstring effectPropertiesKey(const std::wstring& id) {
    return deviceKey(id) + L"\\FxProperties";
}

std::optional<OutputDevice> readOutputDevice(const RegistryTree& registry, const std::wstring& id) {
    const std::wstring key = deviceKey(id);
    if (!registry.hasKey(key)) {
        return std::nullopt;
    }
    const std::wstring properties = key + L"\\Properties";
    return OutputDevice{.id = id,
                        .name = firstTextOf(registry.read(properties, nameKey)),
                        .interfaceName = firstTextOf(registry.read(properties, interfaceNameKey)),
                        .state = readNumber(registry, key, L"DeviceState"),
                        .hasEffectProperties = registry.hasKey(effectPropertiesKey(id)),
                        .effects = EffectProperties::read(registry, effectPropertiesKey(id))};
}

std::vector<OutputDevice> readOutputDevices(const RegistryTree& registry, const std::wstring& defaultId) {
    std::vector<OutputDevice> devices;
    for (const auto& id : registry.keysBelow(outputDevicesKey)) {
        if (auto device = readIfAllowed(registry, id)) {
            device->isDefault = isSameText(id, defaultId);
            devices.push_back(*std::move(device));
        }
    }
    std::sort(devices.begin(), devices.end(), [](const OutputDevice& left, const OutputDevice& right) {
        return std::pair(left.fullName(), left.id) < std::pair(right.fullName(), right.id);
    });
    return devices;
}

std::wstring defaultOutputDevice() {
    const HRESULT initialized = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    std::wstring id;
    {
        void* pMade = nullptr;
        ::CoCreateInstance(deviceEnumeratorClass, nullptr, CLSCTX_ALL, deviceEnumeratorInterface, &pMade);
        const ComReference<IMMDeviceEnumerator> enumerator(static_cast<IMMDeviceEnumerator*>(pMade));
        IMMDevice* pDevice = nullptr;
        if (enumerator) {
            enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &pDevice);
        }
        const ComReference<IMMDevice> device(pDevice);
        wchar_t* pId = nullptr;
        if (device && SUCCEEDED(device->GetId(&pId))) {
            id = keyNameOf(pId);
            ::CoTaskMemFree(pId);
        }
    }
    if (SUCCEEDED(initialized)) {
        ::CoUninitialize();
    }
    return id;
}

const OutputDevice& chooseDevice(const std::vector<OutputDevice>& devices, const std::wstring& text) {
    const std::wstring part = inCapitals(text);
    using Meant = std::function<bool(const OutputDevice&)>;
    const Meant ways[] = {
        [&](const OutputDevice& device) { return isSameText(device.id, keyNameOf(text)); },
        [&](const OutputDevice& device) {
            return isSameText(device.name, text) || isSameText(device.fullName(), text);
        },
        [&](const OutputDevice& device) { return inCapitals(device.fullName()).find(part) != std::wstring::npos; }};
    for (const Meant& isMeant : ways) {
        std::vector<const OutputDevice*> found;
        for (const OutputDevice& device : devices) {
            if (!text.empty() && isMeant(device)) {
                found.push_back(&device);
            }
        }
        if (const OutputDevice* const pDevice = onlyOne(found, text)) {
            return *pDevice;
        }
    }
    throw InstallRefusal(Obstacle::noDevice, encodeUtf8(L"There is no output device \"" + text +
                                                        L"\"; \"tovixctl devices\" lists them."));
}

std::optional<std::wstring> registeredName(const RegistryTree& registry, const std::wstring& classId) {
    const std::wstring classKey = std::wstring(classesKey) + L"CLSID\\" + classId;
    if (!isClass(classId) || !registry.hasKey(classKey + L"\\InprocServer32")) {
        return std::nullopt;
    }
    const std::wstring engineKey = std::wstring(classesKey) + L"AudioEngine\\AudioProcessingObjects\\" + classId;
    const std::wstring name = firstTextOf(registry.read(engineKey, L"FriendlyName"));
    return !name.empty() ? name : firstTextOf(registry.read(classKey, L""));
}

std::string describeRegistration(const RegistryTree& registry, const std::wstring& classId) {
    const auto name = registeredName(registry, classId);
    return !name ? "not registered" : name->empty() ? "registered without a name" : encodeUtf8(*name);
}

} // namespace tovix::install
