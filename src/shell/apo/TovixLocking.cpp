#include "apo/Tovix.h"

#include "apo/TovixLog.h"
#include "platform/ComEdge.h"
#include "system/GuardedCall.h"

namespace tovix {
namespace {

FunctionLog here(const void* pTovix) noexcept {
    return inTovix("Tovix::LockForProcess", pTovix);
}

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

bool Tovix::Connections::readable() const noexcept {
    return hasReadableFirst(inputCount, ppInputs) && hasReadableFirst(outputCount, ppOutputs);
}

HRESULT Tovix::LockForProcess(UINT32 inputCount, APO_CONNECTION_DESCRIPTOR** ppInputs, UINT32 outputCount,
                              APO_CONNECTION_DESCRIPTOR** ppOutputs) noexcept {
    return atComEdge([&] { return lock({inputCount, ppInputs, outputCount, ppOutputs}); });
}

HRESULT Tovix::lock(const Connections& connections) {
    if (!connections.readable()) {
        return lockBase(connections); // which names what is missing
    }
    StreamEnd input;
    StreamEnd output;
    if (const HRESULT hr = readEnd(*connections.ppInputs[0], "Input format= { SamplesPerFrame=", input); FAILED(hr)) {
        return hr;
    }
    if (const HRESULT hr = readEnd(*connections.ppOutputs[0], "Output format= { SamplesPerFrame=", output);
        FAILED(hr)) {
        return hr;
    }
    const bool wasLocked = isLocked();
    const bool oldApoLocked = lockOldApo(connections);
    const HRESULT hr = lockBase(connections);
    if (SUCCEEDED(hr)) {
        m_oldApo.setLocked(oldApoLocked);
        configureStream(input, output);
    } else if (oldApoLocked && !wasLocked) {
        // A lock that fails leaves everything as it was, the previous effect included.
        static_cast<void>(guardedResult([&] { return m_oldApo.config().UnlockForProcess(); }));
    }
    return hr;
}

HRESULT Tovix::readEnd(const APO_CONNECTION_DESCRIPTOR& connection, std::string_view label, StreamEnd& end) const {
    if (const HRESULT hr = connection.pFormat->GetUncompressedAudioFormat(&end.format); FAILED(hr)) {
        here(this).error("GetUncompressedAudioFormat() FAILED");
        return hr;
    }
    end.maxFrames = connection.u32MaxFrameCount;
    here(this).info(label, FormatFields{end.format, &end.maxFrames}, " }");
    return S_OK;
}

bool Tovix::lockOldApo(const Connections& connections) noexcept {
    if (!m_oldApo.present()) {
        return false;
    }
    const HRESULT hr = guardedResult([&] {
        return m_oldApo.config().LockForProcess(connections.inputCount, connections.ppInputs, connections.outputCount,
                                                connections.ppOutputs);
    });
    if (SUCCEEDED(hr)) {
        here(this).info("LockForProcess() for old APO SUCCEEDED");
    } else {
        here(this).warning("LockForProcess() for old APO FAILED. hr=", hr);
    }
    return SUCCEEDED(hr);
}

HRESULT Tovix::lockBase(const Connections& connections) noexcept {
    const HRESULT hr = CBaseAudioProcessingObject::LockForProcess(connections.inputCount, connections.ppInputs,
                                                                  connections.outputCount, connections.ppOutputs);
    if (FAILED(hr)) {
        here(this).error("CBaseAudioProcessingObject::LockForProcess() FAILED");
    } else if (hr == S_OK) {
        here(this).info("SUCCEEDED");
    } else {
        here(this).warning("Unexpected CBaseAudioProcessingObject::LockForProcess() result. hr=", hr);
    }
    return hr;
}

void Tovix::configureStream(const StreamEnd& input, const StreamEnd& output) noexcept {
    const std::uint32_t inputChannels = input.format.dwSamplesPerFrame;
    const std::uint32_t outputChannels = output.format.dwSamplesPerFrame;
    // With a previous effect the chain works on that effect's output.
    const std::uint32_t chainInput = m_oldApo.present() ? outputChannels : inputChannels;
    m_channels = {inputChannels, outputChannels, chainInput};
    StreamFormat format;
    format.sampleRateHz = output.format.fFramesPerSecond;
    format.formatWord = inputChannels;
    format.inputChannels = chainInput;
    format.outputChannels = outputChannels;
    format.channelMask = streamMask(input.format, output.format);
    format.maxFrames = input.maxFrames != 0 ? input.maxFrames : output.maxFrames;
    m_effectManager.initializeManager(format);
}

HRESULT Tovix::UnlockForProcess() noexcept {
    if (m_oldApo.present()) {
        const HRESULT hr = guardedResult([&] { return m_oldApo.config().UnlockForProcess(); });
        if (FAILED(hr)) {
            inTovix("Tovix::UnlockForProcess", this).warning("Tovix::UnlockForProcess() for old apo FAILED. hr=", hr);
        }
        m_oldApo.setLocked(false);
    }
    const HRESULT hr = CBaseAudioProcessingObject::UnlockForProcess();
    m_oldApo.giveBackRetired();
    return hr;
}

} // namespace tovix
