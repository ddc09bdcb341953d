#pragma once

#include "log/Log.h"
#include "platform/CBaseAudioProcessingObject.h"
#include "stream/StreamFormat.h"

#include <string_view>

namespace tovix {

/// Channel counts of a locked stream, and the count that the chain takes.
struct StreamChannels {
    std::uint32_t input = 0;
    std::uint32_t output = 0;
    std::uint32_t chainInput = 0;
};

/// One attempt to lock a stream, step by step. The caller decides who is locked; this class reads the connections,
/// locks, writes the log, and says what the stream is like. All [control].
class StreamLock {
public:
    /// The arguments of `LockForProcess`, borrowed.
    struct Connections {
        UINT32 inputCount;
        APO_CONNECTION_DESCRIPTOR** ppInputs;
        UINT32 outputCount;
        APO_CONNECTION_DESCRIPTOR** ppOutputs;
    };

    StreamLock(const Connections& connections, const FunctionLog& log) noexcept
        : m_connections(connections), m_log(log) {}

    /// Whether there is a first connection with a media type on both sides. Without one only `lockBase` may be
    /// called, which fails and says what is missing.
    [[nodiscard]] bool isComplete() const noexcept;

    /// Reads the first connection's format on both sides; the failure of either one's media type.
    HRESULT read();

    /// Whether the previous effect accepts the lock. Its failure does not fail ours.
    [[nodiscard]] bool lockPreviousEffect(IAudioProcessingObjectConfiguration& previousEffect) const noexcept;
    HRESULT lockBase(CBaseAudioProcessingObject& base) const noexcept;

    /// After `read`: what the stream asks of the chain. With a previous effect the chain works on that effect's
    /// output, and so takes the output's channels.
    [[nodiscard]] StreamChannels channels(bool hasPreviousEffect) const noexcept;
    [[nodiscard]] StreamFormat streamFormat(bool hasPreviousEffect) const noexcept;

private:
    /// One side of a stream as its connection describes it.
    struct StreamEnd {
        UNCOMPRESSEDAUDIOFORMAT format{};
        UINT32 maxFrames = 0;
    };

    HRESULT readEnd(const APO_CONNECTION_DESCRIPTOR& connection, std::string_view label, StreamEnd& end) const;

    Connections m_connections;
    FunctionLog m_log;
    StreamEnd m_input;
    StreamEnd m_output;
};

} // namespace tovix
