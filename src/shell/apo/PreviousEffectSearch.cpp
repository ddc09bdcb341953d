#include "apo/PreviousEffectSearch.h"

#include "apo/EffectKeys.h"
#include "apo/PreviousEffectSlot.h"
#include "apo/RegistrationRecord.h"
#include "log/Log.h"
#include "platform/ForeignReference.h"
#include "system/GuardedCall.h"
#include "system/RegistryUtils.h"

#include <objbase.h>

#include <algorithm>
#include <array>
#include <cwchar>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tovix {
namespace {

constexpr std::size_t guidTextLength = 38;

/// A class or a format in braced text. Not CLSIDFromString, which would look other texts up in the registry.
std::optional<GUID> guidOf(std::wstring_view text) {
    GUID guid{};
    if (text.size() != guidTextLength || FAILED(::IIDFromString(std::wstring(text).c_str(), &guid))) {
        return std::nullopt;
    }
    return guid;
}

/// A property key from its text, "{format},id".
PROPERTYKEY propertyKeyOf(std::wstring_view text) {
    const std::wstring id(text.substr(guidTextLength + 1));
    return {guidOf(text.substr(0, guidTextLength)).value_or(GUID{}), std::wcstoul(id.c_str(), nullptr, 10)};
}

/// The classes under a key, this effect's own included; a value that is no text or list of texts has none.
std::vector<CLSID> classesUnder(IPropertyStore& properties, std::wstring_view key) {
    const PROPERTYKEY propertyKey = propertyKeyOf(key);
    PropertyValue value;
    const HRESULT hr = guardedResult([&] { return properties.GetValue(propertyKey, value.receive()); });
    std::vector<CLSID> classes;
    if (SUCCEEDED(hr)) {
        for (const std::wstring& text : value.texts()) {
            if (const auto classId = guidOf(text)) {
                classes.push_back(*classId);
            }
        }
    }
    return classes;
}

bool isOwn(const CLSID& classId) noexcept {
    return IsEqualGUID(classId, effectClassId) != FALSE;
}

/// The effect keys of an endpoint, read once.
struct EffectRows {
    explicit EffectRows(IPropertyStore& properties) {
        for (std::size_t i = 0; i < effectKeyCount; ++i) {
            foreign[i] = classesUnder(properties, effectKeyNames[i]);
            holdsOwn[i] = std::erase_if(foreign[i], isOwn) > 0;
            if (!foreign[i].empty()) {
                newestForeign = std::max(newestForeign.value_or(effectKeys[i].kind), effectKeys[i].kind);
            }
        }
    }
    /// Whether the engine ran what stands under the key until this effect came: it is of the newest kind that holds
    /// other classes, and this effect stands under a newer one of its side.
    [[nodiscard]] bool ranBefore(const EffectKey& key) const noexcept {
        const auto takesItsPlace = [&](std::size_t i) {
            return holdsOwn[i] && effectKeys[i].side == key.side && effectKeys[i].kind > key.kind;
        };
        bool replaced = false;
        for (std::size_t i = 0; i < effectKeyCount; ++i) {
            replaced = replaced || takesItsPlace(i);
        }
        return replaced && newestForeign == key.kind;
    }

    std::array<std::vector<CLSID>, effectKeyCount> foreign;
    std::array<bool, effectKeyCount> holdsOwn{};
    std::optional<EffectKeyKind> newestForeign;
};

FunctionLog logOf(const PreviousEffectSearch* pSearch) noexcept {
    return {"PreviousEffectSearch::fill", "apo\\PreviousEffectSearch", pSearch};
}

} // namespace

std::vector<CLSID> previousEffectClasses(IPropertyStore& effectProperties) {
    std::vector<CLSID> classes;
    const auto addNew = [&classes](const std::vector<CLSID>& found) {
        for (const CLSID& classId : found) {
            const auto isThis = [&classId](const CLSID& other) { return IsEqualGUID(classId, other) != FALSE; };
            if (!isOwn(classId) && std::none_of(classes.begin(), classes.end(), isThis)) {
                classes.push_back(classId);
            }
        }
    };
    addNew(classesUnder(effectProperties, keptEffectKey));
    const EffectRows rows(effectProperties);
    for (std::size_t i = 0; i < effectKeyCount; ++i) {
        if (rows.ranBefore(effectKeys[i])) {
            addNew(rows.foreign[i]);
        }
    }
    return classes;
}

void PreviousEffectSearch::begin(IPropertyStore* pEndpointProperties, IPropertyStore* pEffectProperties) noexcept {
    const auto keep = [](ComReference<IPropertyStore>& reference, IPropertyStore* pStore) {
        if (pStore != nullptr) {
            pStore->AddRef();
        }
        reference.reset(pStore);
    };
    keep(m_endpointProperties, pEndpointProperties);
    keep(m_effectProperties, pEffectProperties);
    m_isDue = pEffectProperties != nullptr;
}

void PreviousEffectSearch::end() noexcept {
    begin(nullptr, nullptr);
}

void PreviousEffectSearch::fill(PreviousEffectSlot& slot) noexcept {
    if (!std::exchange(m_isDue, false)) {
        return;
    }
    try {
        for (const CLSID& classId : previousEffectClasses(*m_effectProperties)) {
            const std::wstring text = classIdText(classId);
            const HRESULT hr = tryClass(classId, slot);
            if (SUCCEEDED(hr)) {
                logOf(this).info("Previous effect ", text, " runs ahead of this one");
                return;
            }
            logOf(this).warning("Previous effect ", text, " cannot be taken. hr=", hr);
        }
    } catch (...) {
        logOf(this).warning("No memory to look for a previous effect");
    }
}

HRESULT PreviousEffectSearch::tryClass(REFCLSID classId, PreviousEffectSlot& slot) const noexcept {
    void* pObject = nullptr;
    const HRESULT made = guardedResult(
        [&] { return ::CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &pObject); });
    if (FAILED(made) || pObject == nullptr) {
        return FAILED(made) ? made : E_POINTER;
    }
    auto* const pUnknown = static_cast<IUnknown*>(pObject);
    HRESULT hr = initialize(classId, *pUnknown);
    if (SUCCEEDED(hr)) {
        hr = slot.fill(*pUnknown);
    }
    static_cast<void>(guardedCall([pUnknown] { pUnknown->Release(); }));
    return hr;
}

/// With the record of the size that the object asks for, as the engine fills it in for the default mode.
HRESULT PreviousEffectSearch::initialize(REFCLSID classId, IUnknown& object) const noexcept {
    ForeignReference<IAudioProcessingObject> effect;
    if (const HRESULT hr = effect.ask(object, IID_IAudioProcessingObject); FAILED(hr)) {
        return hr;
    }
    APOInitSystemEffects2 record{};
    record.APOInit = {sizeof(APOInitSystemEffects), classId};
    record.pAPOEndpointProperties = m_endpointProperties.get();
    record.pAPOSystemEffectsProperties = m_effectProperties.get();
    record.AudioProcessingMode = defaultProcessingMode;
    // The shorter record is the beginning of the longer one.
    if (ForeignReference<IUnknown> longer; SUCCEEDED(longer.ask(object, IID_IAudioSystemEffects2))) {
        record.APOInit.cbSize = sizeof record;
    }
    return guardedResult([&] { return effect->Initialize(record.APOInit.cbSize, reinterpret_cast<BYTE*>(&record)); });
}

} // namespace tovix
