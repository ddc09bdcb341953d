#pragma once

#include "stream/StreamFormat.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// What holds for every stream, of the core as of the library: tables that both are played through.
namespace tovix::test {

/// One stream that plays.
class PlayedStream {
public:
    explicit PlayedStream(const StreamFormat& format) : m_format(format) {}
    PlayedStream(const PlayedStream&) = delete;
    PlayedStream& operator=(const PlayedStream&) = delete;
    virtual ~PlayedStream() = default;

    /// Takes other settings: their chain fades in over the blocks from here on. Not while another one does.
    virtual void change(const std::string& text) = 0;
    [[nodiscard]] virtual bool isFading() const = 0;
    /// Plays a block, which may be the same memory on both sides.
    virtual void play(float* input, float* output, std::uint32_t frames, bool silent) = 0;

    [[nodiscard]] const StreamFormat& format() const { return m_format; }

private:
    StreamFormat m_format;
};

/// Makes a stream whose first chain is that of the text.
using StreamMaker = std::function<std::unique_ptr<PlayedStream>(const StreamFormat&, const std::string&)>;

/// Blocks of every length, up to one more than promised, each with the page behind its buffers and the page before
/// them closed, in place and not, silent and not, with every filter, in fades and outside.
void expectBlocksToStayWithinTheirBuffers(const StreamMaker& make);

/// Chains into which come samples that are not finite, denormal or far too large: what comes out is finite, and once
/// the cause is gone, is soon what a fresh chain gives.
void expectSoundToStayFiniteAndComeBack(const StreamMaker& make);

} // namespace tovix::test
