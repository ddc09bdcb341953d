#include "apo/FormatNegotiation.h"

#include "apo/TovixLog.h"
#include "platform/AudioMediaType.h"
#include "platform/ComEdge.h"
#include "system/GuardedCall.h"
#include "text/Limits.h"

#include <utility>

namespace tovix {
namespace {

/// Gives a foreign media type back.
void drop(IAudioMediaType*& pFormat) noexcept {
    if (IAudioMediaType* const pDropped = std::exchange(pFormat, nullptr)) {
        static_cast<void>(guardedCall([pDropped] { pDropped->Release(); }));
    }
}

/// Whether a foreign media type can be read and is of no use to `base`.
bool isNonsense(IAudioMediaType& format, CBaseAudioProcessingObject& base) noexcept {
    IAudioMediaType* pCorrected = nullptr;
    const HRESULT hr = guardedResult(
        [&] { return base.CBaseAudioProcessingObject::IsInputFormatSupported(nullptr, &format, &pCorrected); });
    drop(pCorrected);
    return hr == S_FALSE;
}

} // namespace

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

HRESULT FormatNegotiation::previousEffectAnswer(IAudioProcessingObject& previousEffect,
                                                CBaseAudioProcessingObject& base) const noexcept {
    const HRESULT hr = guardedResult([&] {
        return previousEffect.IsInputFormatSupported(m_formats.pOpposite, m_formats.pRequested,
                                                     m_formats.ppSupported);
    });
    IAudioMediaType*& pSupported = *m_formats.ppSupported;
    if (SUCCEEDED(hr) && hr != S_OK && pSupported == nullptr) {
        return E_POINTER; // to hand out no format would fail the whole negotiation
    }
    if (hr == S_FALSE && isNonsense(*pSupported, base)) {
        drop(pSupported);
        return APOERR_FORMAT_NOT_SUPPORTED; // the engine would come back with it, and be refused
    }
    return hr;
}

std::optional<HRESULT> FormatNegotiation::askPreviousEffect(IAudioProcessingObject& previousEffect,
                                                            CBaseAudioProcessingObject& base) const noexcept {
    IAudioMediaType*& pSupported = *m_formats.ppSupported;
    const HRESULT hr = previousEffectAnswer(previousEffect, base);
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
    // The previous effect's, perhaps.
    const HRESULT hr = guardedResult([&] { return (*ppProposal)->GetUncompressedAudioFormat(&proposed); });
    if (FAILED(hr)) {
        m_log.error("(*ppSupportedInputFormat)->GetUncompressedAudioFormat() FAILED");
        drop(*ppProposal);
        return hr;
    }
    m_log.info("InputFormat NOT accepted, SupportedInputFormat = { SamplesPerFrame=", FormatFields{proposed}, " }");
    return decision;
}

} // namespace tovix
