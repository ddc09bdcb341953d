#include "support/EngineSide.h"

#include "apo/RegistrationRecord.h"

#include <objbase.h>

#include <algorithm>

namespace tovix::test {

UNCOMPRESSEDAUDIOFORMAT floatFormat(DWORD channels, float rateHz, DWORD mask) {
    return {floatSubtype, channels, 4, 32, rateHz, mask};
}

HRESULT FormatDouble::QueryInterface(REFIID, void** ppv) {
    *ppv = nullptr;
    return E_NOINTERFACE;
}

HRESULT PropertyStoreDouble::GetValue(REFPROPERTYKEY key, PROPVARIANT* pValue) {
    static const wchar_t text[] = L"{endpoint}";
    static const PROPERTYKEY endpointGuid{
        {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 4};
    if (FAILED(result)) {
        return result;
    }
    pValue->vt = IsEqualPropertyKey(key, endpointGuid) ? type : static_cast<VARTYPE>(VT_EMPTY);
    if (pValue->vt == VT_LPWSTR) {
        pValue->pwszVal = static_cast<wchar_t*>(::CoTaskMemAlloc(sizeof text));
        std::copy(std::begin(text), std::end(text), pValue->pwszVal);
    }
    return result;
}

Effect::Effect(ComReference<IUnknown> object)
    : unknown(std::move(object)), apo(queryInterface<IAudioProcessingObject>(*unknown, IID_IAudioProcessingObject)),
      rt(queryInterface<IAudioProcessingObjectRT>(*unknown, IID_IAudioProcessingObjectRT)),
      config(queryInterface<IAudioProcessingObjectConfiguration>(*unknown, IID_IAudioProcessingObjectConfiguration)) {
}

HRESULT Effect::initialize(HRESULT endpoint) {
    PropertyStoreDouble store;
    store.result = endpoint;
    APOInitSystemEffects data{};
    data.APOInit = {sizeof data, effectClassId};
    data.pAPOEndpointProperties = &store;
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
    APO_CONNECTION_PROPERTY in{reinterpret_cast<UINT_PTR>(input.data()), frames, flags,
                               APO_CONNECTION_PROPERTY_SIGNATURE};
    output = {reinterpret_cast<UINT_PTR>(result.data()), 99, BUFFER_INVALID, APO_CONNECTION_PROPERTY_SIGNATURE};
    APO_CONNECTION_PROPERTY* pIn = &in;
    APO_CONNECTION_PROPERTY* pOut = &output;
    arguments = {1, &pIn, 1, &pOut};
    rt->APOProcess(1, &pIn, 1, &pOut);
    return result;
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
