#include "apo/FormatNegotiation.h"

#include "apo/TovixLog.h"
#include "platform/AudioMediaType.h"
#include "platform/ComEdge.h"
#include "system/GuardedCall.h"
#include "text/Limits.h"

#include <utility>

namespace tovix {

HRESULT FormatNegotiation::read() {
    if (const HRESULT hr = m_formats.pRequested->GetUncompressedAudioFormat(&m_requested); FAILED(hr)) {
        m_log.error("pRequestedInputFormat->GetUncompressedAudioFormat() FAILED");
        return hr;
    }
    m_log.info("RequestedInputFormat = { SamplesPerFrame=", FormatFields{m_requested}, "");
    if (m_formats.pOpposite == nullptr) {
        return S_OK;
    }
    if (const HRESULT hr = m_formats.pOpposite->GetUncompressedAudioFormat(&m_output); FAILED(hr)) {
        m_log.error("pOutputFormat->GetUncompressedAudioFormat() FAILED");
        return hr;
    }
    m_log.info("Output format = { SamplesPerFrame=", FormatFields{m_output}, " }");
    return S_OK;
}

std::optional<HRESULT> FormatNegotiation::askPreviousEffect(IAudioProcessingObject& previousEffect) const noexcept {
    IAudioMediaType*& pSupported = *m_formats.ppSupported;
    HRESULT hr = guardedResult([&] {
        return previousEffect.IsInputFormatSupported(m_formats.pOpposite, m_formats.pRequested,
                                                     m_formats.ppSupported);
    });
    if (hr == S_FALSE && pSupported == nullptr) {
        hr = E_POINTER; // to hand out no proposal would fail the whole negotiation
    }
    if (FAILED(hr)) {
        pSupported = nullptr;
        m_log.warning("Tovix::IsInputFormatSupported() IsInputFormatSupported of old apo FAILED. hr=", hr);
        return std::nullopt;
    }
    if (hr == S_OK && pSupported == nullptr) {
        m_formats.pRequested->AddRef();
        pSupported = m_formats.pRequested;
    }
    m_log.info("Tovix::IsInputFormatSupported() InputFormatSupported of old apo SUCCEEDED");
    return hr;
}

HRESULT FormatNegotiation::askBase(CBaseAudioProcessingObject& base) const {
    const HRESULT hr = base.CBaseAudioProcessingObject::IsInputFormatSupported(
        m_formats.pOpposite, m_formats.pRequested, m_formats.ppSupported);
    if (hr != S_OK || m_formats.pOpposite == nullptr ||
        acceptsChannelCounts(m_requested.dwSamplesPerFrame, m_output.dwSamplesPerFrame)) {
        return hr;
    }
    m_log.warning(
        "AFTER CBaseAudioProcessingObject::IsInputFormatSupported() CreateAudioMediaTypeFromUncompressedAudioFormat");
    const ComReference<IAudioMediaType> accepted(std::exchange(*m_formats.ppSupported, nullptr));
    const HRESULT created = CreateAudioMediaTypeFromUncompressedAudioFormat(&m_output, m_formats.ppSupported);
    return FAILED(created) ? created : S_FALSE;
}

HRESULT FormatNegotiation::report(HRESULT decision) const {
    if (decision == S_OK) {
        m_log.info("Input format has been accepted");
        return decision;
    }
    if (decision != S_FALSE) {
        m_log.warning("Unexpected HRESULT. hr=", decision);
        return decision;
    }
    IAudioMediaType** const ppProposal = m_formats.ppSupported;
    UNCOMPRESSEDAUDIOFORMAT proposed{};
    if (const HRESULT hr = (*ppProposal)->GetUncompressedAudioFormat(&proposed); FAILED(hr)) {
        m_log.error("(*ppSupportedInputFormat)->GetUncompressedAudioFormat() FAILED");
        const ComReference<IAudioMediaType> unreadable(std::exchange(*ppProposal, nullptr));
        return hr;
    }
    m_log.info("InputFormat NOT accepted, SupportedInputFormat = { SamplesPerFrame=", FormatFields{proposed}, " }");
    return decision;
}

} // namespace tovix
