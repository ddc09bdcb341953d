#include "apo/StreamLock.h"

#include "apo/TovixLog.h"
#include "system/GuardedCall.h"

namespace tovix {
namespace {

bool hasReadableFirst(UINT32 count, APO_CONNECTION_DESCRIPTOR** ppConnections) noexcept {
    return count != 0 && ppConnections != nullptr && ppConnections[0] != nullptr &&
           ppConnections[0]->pFormat != nullptr;
}

/// The output's mask, or the input's where the output has none and the layouts can be the same.
std::uint32_t streamMask(const UNCOMPRESSEDAUDIOFORMAT& input, const UNCOMPRESSEDAUDIOFORMAT& output) noexcept {
    if (output.dwChannelMask != 0) {
        return output.dwChannelMask;
    }
    return input.dwSamplesPerFrame == output.dwSamplesPerFrame ? input.dwChannelMask : 0;
}

} // namespace

bool StreamLock::isComplete() const noexcept {
    return hasReadableFirst(m_connections.inputCount, m_connections.ppInputs) &&
           hasReadableFirst(m_connections.outputCount, m_connections.ppOutputs);
}

HRESULT StreamLock::read() {
    const HRESULT hr = readEnd(*m_connections.ppInputs[0], "Input format= { SamplesPerFrame=", m_input);
    return FAILED(hr) ? hr : readEnd(*m_connections.ppOutputs[0], "Output format= { SamplesPerFrame=", m_output);
}

HRESULT StreamLock::readEnd(const APO_CONNECTION_DESCRIPTOR& connection, std::string_view label,
                            StreamEnd& end) const {
    if (const HRESULT hr = connection.pFormat->GetUncompressedAudioFormat(&end.format); FAILED(hr)) {
        m_log.error("GetUncompressedAudioFormat() FAILED");
        return hr;
    }
    end.maxFrames = connection.u32MaxFrameCount;
    m_log.info(label, FormatFields{end.format, &end.maxFrames}, " }");
    return S_OK;
}

bool StreamLock::lockPreviousEffect(IAudioProcessingObjectConfiguration& previousEffect) const noexcept {
    const HRESULT hr = guardedResult([&] {
        return previousEffect.LockForProcess(m_connections.inputCount, m_connections.ppInputs,
                                             m_connections.outputCount, m_connections.ppOutputs);
    });
    if (SUCCEEDED(hr)) {
        m_log.info("LockForProcess() for old APO SUCCEEDED");
    } else {
        m_log.warning("LockForProcess() for old APO FAILED. hr=", hr);
    }
    return SUCCEEDED(hr);
}

HRESULT StreamLock::lockBase(CBaseAudioProcessingObject& base) const noexcept {
    const HRESULT hr = base.CBaseAudioProcessingObject::LockForProcess(
        m_connections.inputCount, m_connections.ppInputs, m_connections.outputCount, m_connections.ppOutputs);
    if (FAILED(hr)) {
        m_log.error("CBaseAudioProcessingObject::LockForProcess() FAILED");
    } else if (hr == S_OK) {
        m_log.info("SUCCEEDED");
    } else {
        m_log.warning("Unexpected CBaseAudioProcessingObject::LockForProcess() result. hr=", hr);
    }
    return hr;
}

StreamChannels StreamLock::channels(bool hasPreviousEffect) const noexcept {
    const std::uint32_t input = m_input.format.dwSamplesPerFrame;
    const std::uint32_t output = m_output.format.dwSamplesPerFrame;
    return {input, output, hasPreviousEffect ? output : input};
}

StreamFormat StreamLock::streamFormat(bool hasPreviousEffect) const noexcept {
    const StreamChannels counts = channels(hasPreviousEffect);
    StreamFormat format;
    format.sampleRateHz = m_output.format.fFramesPerSecond;
    format.formatWord = counts.input;
    format.inputChannels = counts.chainInput;
    format.outputChannels = counts.output;
    format.channelMask = streamMask(m_input.format, m_output.format);
    format.maxFrames = m_input.maxFrames != 0 ? m_input.maxFrames : m_output.maxFrames;
    return format;
}

} // namespace tovix
