#include "apo/Tovix.h"

#include "apo/TovixLog.h"
#include "platform/AudioMediaType.h"
#include "platform/ComEdge.h"
#include "system/GuardedCall.h"
#include "text/Limits.h"

#include <utility>

namespace tovix {
namespace {

FunctionLog here(const void* pTovix) noexcept {
    return inTovix("Tovix::IsInputFormatSupported", pTovix);
}

bool hasTooManyChannels(const UNCOMPRESSEDAUDIOFORMAT& input, const UNCOMPRESSEDAUDIOFORMAT& output) noexcept {
    return !acceptsChannelCounts(input.dwSamplesPerFrame, output.dwSamplesPerFrame);
}

} // namespace

HRESULT Tovix::IsInputFormatSupported(IAudioMediaType* pOppositeFormat, IAudioMediaType* pRequestedInputFormat,
                                      IAudioMediaType** ppSupportedInputFormat) noexcept {
    if (ppSupportedInputFormat != nullptr) {
        *ppSupportedInputFormat = nullptr;
    }
    if (pOppositeFormat == nullptr || pRequestedInputFormat == nullptr || ppSupportedInputFormat == nullptr) {
        here(this).error("wrong arguments");
        return E_POINTER;
    }
    return atComEdge([&] { return negotiateInput(pOppositeFormat, pRequestedInputFormat, ppSupportedInputFormat); });
}

HRESULT Tovix::negotiateInput(IAudioMediaType* pOpposite, IAudioMediaType* pRequested,
                              IAudioMediaType** ppSupported) {
    Formats formats;
    if (const HRESULT hr = readFormats(*pOpposite, *pRequested, formats); FAILED(hr)) {
        return hr;
    }
    const auto oldApoDecision = askOldApo(pOpposite, pRequested, ppSupported);
    const HRESULT decision =
        oldApoDecision ? *oldApoDecision : decideInput(pOpposite, pRequested, ppSupported, formats);
    return reportDecision(decision, ppSupported);
}

HRESULT Tovix::readFormats(IAudioMediaType& opposite, IAudioMediaType& requested, Formats& formats) const {
    if (const HRESULT hr = requested.GetUncompressedAudioFormat(&formats.requested); FAILED(hr)) {
        here(this).error("pRequestedInputFormat->GetUncompressedAudioFormat() FAILED");
        return hr;
    }
    here(this).info("RequestedInputFormat = { SamplesPerFrame=", FormatFields{formats.requested}, "");
    if (const HRESULT hr = opposite.GetUncompressedAudioFormat(&formats.output); FAILED(hr)) {
        here(this).error("pOutputFormat->GetUncompressedAudioFormat() FAILED");
        return hr;
    }
    here(this).info("Output format = { SamplesPerFrame=", FormatFields{formats.output}, " }");
    return S_OK;
}

std::optional<HRESULT> Tovix::askOldApo(IAudioMediaType* pOpposite, IAudioMediaType* pRequested,
                                        IAudioMediaType** ppSupported) {
    if (!m_oldApo.present()) {
        return std::nullopt;
    }
    HRESULT hr =
        guardedResult([&] { return m_oldApo.apo().IsInputFormatSupported(pOpposite, pRequested, ppSupported); });
    if (hr == S_FALSE && *ppSupported == nullptr) {
        hr = E_POINTER; // a proposal that is none would fail the whole negotiation
    }
    if (FAILED(hr)) {
        *ppSupported = nullptr;
        here(this).warning("Tovix::IsInputFormatSupported() IsInputFormatSupported of old apo FAILED. hr=", hr);
        releaseOldApo();
        return std::nullopt;
    }
    if (hr == S_OK && *ppSupported == nullptr) {
        pRequested->AddRef();
        *ppSupported = pRequested;
    }
    here(this).info("Tovix::IsInputFormatSupported() InputFormatSupported of old apo SUCCEEDED");
    return hr;
}

HRESULT Tovix::decideInput(IAudioMediaType* pOpposite, IAudioMediaType* pRequested, IAudioMediaType** ppSupported,
                           const Formats& formats) {
    const HRESULT hr = CBaseAudioProcessingObject::IsInputFormatSupported(pOpposite, pRequested, ppSupported);
    if (hr != S_OK || !hasTooManyChannels(formats.requested, formats.output)) {
        return hr;
    }
    here(this).warning(
        "AFTER CBaseAudioProcessingObject::IsInputFormatSupported() CreateAudioMediaTypeFromUncompressedAudioFormat");
    const ComReference<IAudioMediaType> accepted(std::exchange(*ppSupported, nullptr));
    const HRESULT created = CreateAudioMediaTypeFromUncompressedAudioFormat(&formats.output, ppSupported);
    return FAILED(created) ? created : S_FALSE;
}

HRESULT Tovix::reportDecision(HRESULT decision, IAudioMediaType** ppSupported) const {
    if (decision == S_OK) {
        here(this).info("Input format has been accepted");
        return decision;
    }
    if (decision != S_FALSE) {
        here(this).warning("Unexpected HRESULT. hr=", decision);
        return decision;
    }
    UNCOMPRESSEDAUDIOFORMAT proposed{};
    if (const HRESULT hr = (*ppSupported)->GetUncompressedAudioFormat(&proposed); FAILED(hr)) {
        here(this).error("(*ppSupportedInputFormat)->GetUncompressedAudioFormat() FAILED");
        const ComReference<IAudioMediaType> unreadable(std::exchange(*ppSupported, nullptr));
        return hr;
    }
    here(this).info("InputFormat NOT accepted, SupportedInputFormat = { SamplesPerFrame=", FormatFields{proposed},
                    " }");
    return decision;
}

} // namespace tovix
