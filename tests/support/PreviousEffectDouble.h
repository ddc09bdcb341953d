#pragma once

#include "support/EngineSide.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tovix::test {

/// A previous effect that records its calls and the release of the last reference but its owner's, can fail and call
/// back at each call, and fills every frame of its output with 0.01 in the first channel, 0.02 in the second, and so
/// on.
class PreviousEffectDouble final : public PreviousEffectBase {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        *ppv = nullptr;
        if (IsEqualIID(riid, IID_IAudioProcessingObjectRT)) {
            *ppv = static_cast<IAudioProcessingObjectRT*>(this);
        } else if (IsEqualIID(riid, IID_IAudioProcessingObjectConfiguration)) {
            *ppv = static_cast<IAudioProcessingObjectConfiguration*>(this);
        } else {
            *ppv = static_cast<IAudioProcessingObject*>(this);
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override {
        if (--references == 1) {
            called("released");
        }
        return references;
    }

    HRESULT STDMETHODCALLTYPE GetLatency(HNSTIME* pTime) override {
        called("latency");
        *pTime = 777;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsInputFormatSupported(IAudioMediaType* pOpposite, IAudioMediaType* pRequested,
                                                     IAudioMediaType** ppSupported) override {
        called("negotiate");
        negotiated = {pOpposite, pRequested};
        if (formatResult == S_OK || pProposal != nullptr) {
            *ppSupported = formatResult == S_OK ? pRequested : pProposal;
            (*ppSupported)->AddRef();
        }
        return formatResult;
    }

    HRESULT STDMETHODCALLTYPE LockForProcess(UINT32 inputCount, APO_CONNECTION_DESCRIPTOR** ppInputs,
                                             UINT32 outputCount, APO_CONNECTION_DESCRIPTOR** ppOutputs) override {
        called("lock");
        arguments = {inputCount, ppInputs, outputCount, ppOutputs};
        UNCOMPRESSEDAUDIOFORMAT output{};
        ppOutputs[0]->pFormat->GetUncompressedAudioFormat(&output);
        frame.clear();
        while (frame.size() < output.dwSamplesPerFrame) {
            frame.push_back(0.01F * static_cast<float>(frame.size() + 1));
        }
        return lockResult;
    }
    HRESULT STDMETHODCALLTYPE UnlockForProcess() override {
        called("unlock");
        return S_OK;
    }

    void STDMETHODCALLTYPE APOProcess(UINT32 inputCount, APO_CONNECTION_PROPERTY** ppInputs, UINT32 outputCount,
                                      APO_CONNECTION_PROPERTY** ppOutputs) noexcept override {
        called("process");
        arguments = {inputCount, ppInputs, outputCount, ppOutputs};
        auto* const pSamples = reinterpret_cast<float*>(ppOutputs[0]->pBuffer);
        for (std::size_t i = 0; i < ppInputs[0]->u32ValidFrameCount * frame.size(); ++i) {
            pSamples[i] = frame[i % frame.size()];
        }
    }

    HRESULT formatResult = S_OK;
    IAudioMediaType* pProposal = nullptr;
    HRESULT lockResult = S_OK;
    /// What it writes, as of the last lock.
    std::vector<float> frame;

    /// Calls back during the next of these calls, once.
    std::string callingBack;
    std::function<void()> callBack;

    std::vector<std::string> calls;
    /// What the last negotiation was about: the opposite format, the requested one.
    std::pair<const void*, const void*> negotiated;
    /// Those of the last lock or block.
    CallArguments arguments;
    ULONG references = 1;

private:
    void called(const char* method) {
        calls.emplace_back(method);
        if (method == callingBack) {
            callingBack.clear();
            callBack();
        }
    }
};

} // namespace tovix::test
