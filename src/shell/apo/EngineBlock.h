#pragma once

#include "apo/PreviousEffectSlot.h"
#include "apo/StreamLock.h"
#include "memory/RtSection.h"
#include "platform/ApoInterfaces.h"
#include "stream/AudioBlock.h"

namespace tovix {

/// The arguments of `APOProcess`, borrowed for the call. The first connection each way is used.
struct EngineBlock {
    UINT32 inputCount;
    APO_CONNECTION_PROPERTY** ppInputs;
    UINT32 outputCount;
    APO_CONNECTION_PROPERTY** ppOutputs;
};

/// What the object knows about the stream that a block belongs to.
struct EngineStream {
    StreamChannels channels;
    /// Whether a silent input may give a sounding output.
    bool processSilence = false;
    /// The slot of the previous effect, which runs ahead of the chain where it is locked; null where none is wanted.
    PreviousEffectSlot* pPreviousEffect = nullptr;
};

/// [audio] Runs the previous effect where there is one, then `effect`, and marks the output connection; see
/// `processBlock`. Where the chain takes the output's channels but no previous effect runs, it gets the input's
/// samples with that channel count. The same holds from the block on in which the previous effect throws. Its mark on
/// the output counts: what it marks silent is cleared. Without a connection on either side nothing happens.
void processEngineBlock(const EngineBlock& block, const EngineStream& stream, IOwnEffect& effect) noexcept RT_SECTION;

} // namespace tovix
