#include "render/engine/DeviceProperties.h"

#include "apo/EffectKeys.h"
#include "apo/RegistrationRecord.h"
#include "platform/ApoInterfaces.h"
#include "render/engine/EffectModule.h"

#include <objbase.h>

namespace tovix::render {
namespace {

ComReference<IPropertyStore> emptyStore() {
    void* pStore = nullptr;
    const HRESULT result = ::PSCreateMemoryPropertyStore(IID_IPropertyStore, &pStore);
    return requireObject<IPropertyStore>(result, pStore, "no property store can be made");
}

void setText(IPropertyStore& store, const PROPERTYKEY& key, std::wstring text) {
    // Borrowed: the store copies the value.
    PROPVARIANT value{};
    value.vt = VT_LPWSTR;
    value.pwszVal = text.data();
    requireSuccess(store.SetValue(key, value), "a property of the device cannot be set");
}

/// The text as the registry has it, once the class can be had.
std::wstring requireForeignClass(const std::string& text) {
    std::wstring wide(text.begin(), text.end());
    CLSID classId{};
    // Not CLSIDFromString, which takes names of classes too.
    if (FAILED(::IIDFromString(wide.c_str(), &classId))) {
        throw RenderError(ExitStatus::usage, "--previous-effect takes a class such as "
                                             "{00000000-0000-0000-0000-000000000000}, and \"" +
                                                 text + "\" is none.");
    }
    if (IsEqualGUID(classId, effectClassId)) {
        throw RenderError(ExitStatus::usage, "--previous-effect is this effect's own class, which it never runs.");
    }
    void* pFactory = nullptr;
    const HRESULT result = ::CoGetClassObject(classId, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, &pFactory);
    static_cast<void>(requireObject<IClassFactory>(
        result, pFactory, "the previous effect is not registered on this machine, or its library cannot be loaded"));
    return wide;
}

} // namespace

DeviceProperties::DeviceProperties(const std::optional<std::string>& previousEffect)
    : m_endpoint(emptyStore()), m_effects(emptyStore()) {
    setText(*m_endpoint, endpointGuidKey, L"{00000000-0000-0000-0000-000000000000}");
    if (previousEffect) {
        PROPERTYKEY key{};
        requireSuccess(::PSPropertyKeyFromString(std::wstring(keptEffectKey).c_str(), &key),
                       "a property of the device cannot be named");
        setText(*m_effects, key, requireForeignClass(*previousEffect));
    }
}

} // namespace tovix::render
