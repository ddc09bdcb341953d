#include "apo/EngineBlock.h"

#include "stream/ChannelAdapter.h"
#include "system/GuardedCall.h"

#include <cstddef>
#include <cstring>

namespace tovix {
namespace {

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

/// The previous effect at work: gets the engine's own call.
class PreviousEffectCall final : public IPreviousEffect {
public:
    [[gnu::always_inline]] PreviousEffectCall(const EngineBlock& block, PreviousEffectSlot* pSlot,
                                              const ChannelChange& change) noexcept
        : m_block(block), m_pSlot(pSlot), m_pEffect(pSlot != nullptr ? pSlot->processing() : nullptr),
          m_change(change) {}

    [[nodiscard, gnu::always_inline]] bool runs() const noexcept { return m_pEffect != nullptr; }
    void processBlock() noexcept override RT_SECTION;

private:
    /// False when an exception came out of the effect.
    bool callEffect() noexcept RT_SECTION;
    static void callEffect(void* pCall) RT_SECTION;

    EngineBlock m_block;
    PreviousEffectSlot* m_pSlot;
    IAudioProcessingObjectRT* m_pEffect;
    /// From the stream's input to what the chain expects.
    ChannelChange m_change;
};

void PreviousEffectCall::callEffect(void* pCall) {
    const auto& call = *static_cast<const PreviousEffectCall*>(pCall);
    const EngineBlock& block = call.m_block;
    call.m_pEffect->APOProcess(block.inputCount, block.ppInputs, block.outputCount, block.ppOutputs);
}

bool PreviousEffectCall::callEffect() noexcept {
    try {
        return tovixGuardedCall(&callEffect, this) != 0;
    } catch (...) {
        return false;
    }
}

void PreviousEffectCall::processBlock() noexcept {
    APO_CONNECTION_PROPERTY& output = *m_block.ppOutputs[0];
    // What stands there from an earlier block is not its mark on this one, unless it is the input's mark as well.
    if (m_block.ppOutputs[0] != m_block.ppInputs[0]) {
        output.u32BufferFlags = BUFFER_INVALID;
    }
    if (!callEffect()) {
        m_pSlot->stopProcessing();
        adaptChannels(m_change);
    } else if (output.u32BufferFlags == BUFFER_SILENT) {
        std::memset(m_change.output, 0, std::size_t{m_change.frameCount} * m_change.outputChannels * sizeof(float));
    }
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
    const ChannelChange change{output.samples, input.samples, channels.chainInput, channels.input,
                               input.validFrameCount};
    PreviousEffectCall previousEffect(block, stream.pPreviousEffect, change);
    AdaptedStream adapted(change);
    BlockContext context{channels.input, channels.output, stream.processSilence, nullptr};
    if (previousEffect.runs()) {
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
