#pragma once

#include "platform/ApoInterfaces.h"
#include "platform/ComEdge.h"

#include <propsys.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

/// The audio engine's side of an effect: formats, the endpoint's properties, connections, blocks.
namespace tovix::test {

UNCOMPRESSEDAUDIOFORMAT floatFormat(DWORD channels, float rateHz = 48000.0F, DWORD mask = 0);

/// A media type on the stack whose reading can fail and whose references can be counted.
class FormatDouble final : public IAudioMediaType {
public:
    explicit FormatDouble(const UNCOMPRESSEDAUDIOFORMAT& wanted, HRESULT reading = S_OK)
        : format(wanted), readResult(reading) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE IsCompressedFormat(BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsEqual(IAudioMediaType*, DWORD*) override { return E_NOTIMPL; }
    const WAVEFORMATEX* STDMETHODCALLTYPE GetAudioFormat() override { return nullptr; }
    HRESULT STDMETHODCALLTYPE GetUncompressedAudioFormat(UNCOMPRESSEDAUDIOFORMAT* pFormat) override {
        *pFormat = format;
        return readResult;
    }

    UNCOMPRESSEDAUDIOFORMAT format;
    HRESULT readResult;
    ULONG references = 1;
};

/// An endpoint's properties: its identifier is "{endpoint}"; every other key has no value but those that are given.
class PropertyStoreDouble final : public IPropertyStore {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE GetCount(DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAt(DWORD, PROPERTYKEY*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT* pValue) override;
    HRESULT STDMETHODCALLTYPE SetValue(REFPROPERTYKEY, REFPROPVARIANT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Commit() override { return E_NOTIMPL; }

    /// A key's text, as in "{format},id", and its strings; more than one, or none, are a list.
    std::map<std::wstring, std::vector<std::wstring>> values;
    ULONG references = 1;
    HRESULT result = S_OK;
    /// VT_LPWSTR, or a type without a string.
    VARTYPE type = VT_LPWSTR;
};

/// What an effect of another maker leaves out here, because nobody asks it.
class PreviousEffectBase : public IAudioProcessingObject,
                           public IAudioProcessingObjectRT,
                           public IAudioProcessingObjectConfiguration {
public:
    HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRegistrationProperties(APO_REG_PROPERTIES**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Initialize(UINT32, BYTE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsOutputFormatSupported(IAudioMediaType*, IAudioMediaType*,
                                                      IAudioMediaType**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetInputChannelCount(UINT32*) override { return E_NOTIMPL; }
    UINT32 STDMETHODCALLTYPE CalcInputFrames(UINT32 frames) noexcept override { return frames; }
    UINT32 STDMETHODCALLTYPE CalcOutputFrames(UINT32 frames) noexcept override { return frames; }
};

/// The four arguments of a lock or of a block, only to be compared.
using CallArguments = std::tuple<UINT32, const void*, UINT32, const void*>;

/// One effect with its three interfaces, and the connections of its stream.
class Effect {
public:
    /// Takes the reference; the object must have all three interfaces.
    explicit Effect(ComReference<IUnknown> object);

    /// `endpoint` is the result of reading the endpoint's properties.
    HRESULT initialize(HRESULT endpoint = S_OK);
    HRESULT initialize(IPropertyStore* pEndpoint, IPropertyStore* pEffects);
    /// Locks one connection each way; a format that is given stands in for the default one of its channels.
    HRESULT lock(const UNCOMPRESSEDAUDIOFORMAT& input, const UNCOMPRESSEDAUDIOFORMAT& output, UINT32 inputMaxFrames,
                 UINT32 outputMaxFrames = 0);
    HRESULT lock(FormatDouble& input, FormatDouble& output, UINT32 inputMaxFrames, UINT32 outputMaxFrames = 0);
    /// Processes one block of `inputChannels` and returns the output; 12345 stands where nothing was written.
    std::vector<float> process(std::vector<float> input, DWORD inputChannels, DWORD outputChannels,
                               APO_BUFFER_FLAGS flags = BUFFER_VALID);
    /// Processes one block from memory to memory and returns the frames of the output.
    UINT32 play(float* pInput, float* pOutput, UINT32 frames, APO_BUFFER_FLAGS flags = BUFFER_VALID);

    ComReference<IUnknown> unknown;
    ComReference<IAudioProcessingObject> apo;
    ComReference<IAudioProcessingObjectRT> rt;
    ComReference<IAudioProcessingObjectConfiguration> config;
    /// The output connection after the last block.
    APO_CONNECTION_PROPERTY output{};
    /// Those of the last lock or block.
    CallArguments arguments;
};

/// The outcome of a negotiation; the proposal's references are given back.
struct Negotiation {
    HRESULT result;
    /// The type that was handed out, only to be compared.
    const void* pHandedOut;
    UNCOMPRESSEDAUDIOFORMAT proposed;
};
Negotiation negotiate(IAudioProcessingObject& apo, IAudioMediaType* pOpposite, IAudioMediaType* pRequested,
                      bool input = true);

} // namespace tovix::test
