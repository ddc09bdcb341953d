#include "support/EngineSide.h"

#include "apo/RegistrationRecord.h"

#include <objbase.h>

#include <algorithm>
#include <cwctype>

namespace tovix::test {

UNCOMPRESSEDAUDIOFORMAT floatFormat(DWORD channels, float rateHz, DWORD mask) {
    return {floatSubtype, channels, 4, 32, rateHz, mask};
}

namespace {

wchar_t* taskText(const std::wstring& text) {
    auto* const pCopy = static_cast<wchar_t*>(::CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
    std::copy_n(text.c_str(), text.size() + 1, pCopy);
    return pCopy;
}

std::wstring keyText(REFPROPERTYKEY key) {
    wchar_t format[39]{};
    ::StringFromGUID2(key.fmtid, format, 39);
    std::transform(std::begin(format), std::end(format), std::begin(format),
                   [](wchar_t c) { return std::towlower(c); });
    return format + (L"," + std::to_wstring(key.pid));
}

} // namespace

HRESULT PropertyStoreDouble::GetValue(REFPROPERTYKEY key, PROPVARIANT* pValue) {
    if (FAILED(result)) {
        return result;
    }
    pValue->vt = VT_EMPTY;
    if (IsEqualPropertyKey(key, endpointGuidKey)) {
        pValue->vt = type;
        pValue->pwszVal = type == VT_LPWSTR ? taskText(L"{endpoint}") : nullptr;
    } else if (const auto found = values.find(keyText(key)); found != values.end()) {
        const auto& texts = found->second;
        if (texts.size() == 1) {
            pValue->vt = VT_LPWSTR;
            pValue->pwszVal = taskText(texts.front());
        } else {
            pValue->vt = VT_VECTOR | VT_LPWSTR;
            pValue->calpwstr.cElems = static_cast<ULONG>(texts.size());
            pValue->calpwstr.pElems = static_cast<wchar_t**>(::CoTaskMemAlloc((texts.size() + 1) * sizeof(wchar_t*)));
            std::transform(texts.begin(), texts.end(), pValue->calpwstr.pElems, taskText);
        }
    }
    return result;
}

Effect::Effect(ComReference<IUnknown> object)
    : unknown(std::move(object)), apo(queryInterface<IAudioProcessingObject>(*unknown, IID_IAudioProcessingObject)),
      rt(queryInterface<IAudioProcessingObjectRT>(*unknown, IID_IAudioProcessingObjectRT)),
      config(queryInterface<IAudioProcessingObjectConfiguration>(*unknown, IID_IAudioProcessingObjectConfiguration)) {
}

HRESULT Effect::initialize(HRESULT endpoint) {
    // The effect keeps a reference.
    static PropertyStoreDouble store;
    store.result = endpoint;
    return initialize(&store, nullptr);
}

HRESULT Effect::initialize(IPropertyStore* pEndpoint, IPropertyStore* pEffects) {
    APOInitSystemEffects data{};
    data.APOInit = {sizeof data, effectClassId};
    data.pAPOEndpointProperties = pEndpoint;
    data.pAPOSystemEffectsProperties = pEffects;
    return apo->Initialize(sizeof data, reinterpret_cast<BYTE*>(&data));
}

HRESULT Effect::lock(const UNCOMPRESSEDAUDIOFORMAT& input, const UNCOMPRESSEDAUDIOFORMAT& outputFormat,
                     UINT32 inputMaxFrames, UINT32 outputMaxFrames) {
    FormatDouble in(input);
    FormatDouble out(outputFormat);
    return lock(in, out, inputMaxFrames, outputMaxFrames);
}

HRESULT Effect::lock(FormatDouble& in, FormatDouble& out, UINT32 inputMaxFrames, UINT32 outputMaxFrames) {
    APO_CONNECTION_DESCRIPTOR source{APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, inputMaxFrames, &in,
                                     APO_CONNECTION_DESCRIPTOR_SIGNATURE};
    APO_CONNECTION_DESCRIPTOR target{APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, outputMaxFrames, &out,
                                     APO_CONNECTION_DESCRIPTOR_SIGNATURE};
    APO_CONNECTION_DESCRIPTOR* pSource = &source;
    APO_CONNECTION_DESCRIPTOR* pTarget = &target;
    arguments = {1, &pSource, 1, &pTarget};
    return config->LockForProcess(1, &pSource, 1, &pTarget);
}

std::vector<float> Effect::process(std::vector<float> input, DWORD inputChannels, DWORD outputChannels,
                                   APO_BUFFER_FLAGS flags) {
    const auto frames = static_cast<UINT32>(input.size() / inputChannels);
    std::vector<float> result(std::size_t{frames} * outputChannels, 12345.0F);
    play(input.data(), result.data(), frames, flags);
    return result;
}

// NOLINTNEXTLINE(readability-non-const-parameter): silence is written into the input
UINT32 Effect::play(float* pInput, float* pOutput, UINT32 frames, APO_BUFFER_FLAGS flags) {
    APO_CONNECTION_PROPERTY in{reinterpret_cast<UINT_PTR>(pInput), frames, flags, APO_CONNECTION_PROPERTY_SIGNATURE};
    output = {reinterpret_cast<UINT_PTR>(pOutput), 99, BUFFER_INVALID, APO_CONNECTION_PROPERTY_SIGNATURE};
    APO_CONNECTION_PROPERTY* pIn = &in;
    APO_CONNECTION_PROPERTY* pOut = &output;
    arguments = {1, &pIn, 1, &pOut};
    rt->APOProcess(1, &pIn, 1, &pOut);
    return output.u32ValidFrameCount;
}

Negotiation negotiate(IAudioProcessingObject& apo, IAudioMediaType* pOpposite, IAudioMediaType* pRequested,
                      bool input) {
    auto* pSupported = reinterpret_cast<IAudioMediaType*>(&apo); // must be cleared, whatever the result
    Negotiation outcome{};
    outcome.result = input ? apo.IsInputFormatSupported(pOpposite, pRequested, &pSupported)
                           : apo.IsOutputFormatSupported(pOpposite, pRequested, &pSupported);
    outcome.pHandedOut = pSupported;
    if (pSupported != nullptr) {
        pSupported->GetUncompressedAudioFormat(&outcome.proposed);
        pSupported->Release();
    }
    return outcome;
}

} // namespace tovix::test
