#include "apo/EngineBlock.h"

#include "stream/ChannelAdapter.h"

namespace tovix {
namespace {

/// The previous effect at work: gets the engine's own call.
class PreviousEffectCall final : public IPreviousEffect {
public:
    [[gnu::always_inline]] PreviousEffectCall(const EngineBlock& block, IAudioProcessingObjectRT* pEffect) noexcept
        : m_block(block), m_pEffect(pEffect) {}

    void processBlock() noexcept override RT_SECTION;

private:
    EngineBlock m_block;
    IAudioProcessingObjectRT* m_pEffect;
};

void PreviousEffectCall::processBlock() noexcept {
    m_pEffect->APOProcess(m_block.inputCount, m_block.ppInputs, m_block.outputCount, m_block.ppOutputs);
}

/// Stands in for a previous effect that does not run although the chain was laid out for its output: gives the chain
/// the stream's own samples with the channel count that it expects.
class AdaptedStream final : public IPreviousEffect {
public:
    [[gnu::always_inline]] explicit AdaptedStream(const ChannelChange& change) noexcept : m_change(change) {}

    void processBlock() noexcept override RT_SECTION;

private:
    ChannelChange m_change;
};

void AdaptedStream::processBlock() noexcept {
    adaptChannels(m_change);
}

/// The first connection's property, or null where there is none.
RT_SECTION APO_CONNECTION_PROPERTY* firstConnection(UINT32 count, APO_CONNECTION_PROPERTY** ppConnections) noexcept {
    return count != 0 && ppConnections != nullptr ? ppConnections[0] : nullptr;
}

RT_SECTION BlockBuffer blockBuffer(const APO_CONNECTION_PROPERTY& property) noexcept {
    return {reinterpret_cast<float*>(property.pBuffer), property.u32ValidFrameCount,
            static_cast<BufferFlags>(property.u32BufferFlags)};
}

} // namespace

void processEngineBlock(const EngineBlock& block, const EngineStream& stream, IOwnEffect& effect) noexcept {
    const APO_CONNECTION_PROPERTY* const pInput = firstConnection(block.inputCount, block.ppInputs);
    APO_CONNECTION_PROPERTY* const pOutput = firstConnection(block.outputCount, block.ppOutputs);
    if (pInput == nullptr || pOutput == nullptr) {
        return;
    }
    const BlockBuffer input = blockBuffer(*pInput);
    BlockBuffer output = blockBuffer(*pOutput);
    const StreamChannels& channels = stream.channels;
    PreviousEffectCall previousEffect(block, stream.pPreviousEffect);
    AdaptedStream adapted(
        {output.samples, input.samples, channels.chainInput, channels.input, input.validFrameCount});
    BlockContext context{channels.input, channels.output, stream.processSilence, nullptr};
    if (stream.pPreviousEffect != nullptr) {
        context.pPrevious = &previousEffect;
    } else if (channels.chainInput != channels.input) {
        context.pPrevious = &adapted;
    }
    if (!processBlock(effect, context, input, output)) {
        return;
    }
    pOutput->u32ValidFrameCount = output.validFrameCount;
    pOutput->u32BufferFlags = static_cast<APO_BUFFER_FLAGS>(output.flags);
}

} // namespace tovix
