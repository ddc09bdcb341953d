#pragma once

#include "memory/RtSection.h"

#include <cstdint>

namespace tovix {

/// The engine's marks on a block; the values are the platform's.
enum class BufferFlags : std::uint32_t { invalid = 0, valid = 1, silent = 2 };

/// The input or the output of one block as the engine hands it over: interleaved samples with room for at least the
/// valid frames, and their mark.
struct BlockBuffer {
    float* samples = nullptr;
    std::uint32_t validFrameCount = 0;
    BufferFlags flags = BufferFlags::invalid;
};

/// Our own effect as one block sees it: the chain of filters.
class IOwnEffect {
public:
    /// [audio] Processes `frameCount` interleaved frames from `input` to `output`, which may be the same buffer.
    virtual void process(float* output, const float* input, std::uint32_t frameCount) noexcept = 0;

protected:
    ~IOwnEffect() = default;
};

/// The device's previous effect, which works on a block before ours, or what stands in for one that does not run.
class IPreviousEffect {
public:
    /// [audio] Processes the engine's block from its input to its output, where our effect then works in place.
    virtual void processBlock() noexcept = 0;

protected:
    ~IPreviousEffect() = default;
};

/// What one block needs to know about its stream.
struct BlockContext {
    std::uint32_t inputChannels = 0;
    std::uint32_t outputChannels = 0;
    /// Whether a silent input may give a sounding output (a filter's tail).
    bool processSilence = false;
    /// Null where our effect takes the input's samples as they are.
    IPreviousEffect* pPrevious = nullptr;
};

/// [audio] The body of `APOProcess`: clears a silent input, runs the previous effect where there is one and then
/// `effect`, and marks the output valid or silent. Both compute with rounding to nearest and no exceptions, and
/// denormal numbers count as zero. The caller's floating-point control state is restored even if the previous effect
/// changes it. Where either side has no samples, nothing runs, and the output is cleared, if it has samples, and
/// marked silent.
///
/// Returns false for a block marked invalid, which leaves everything untouched.
bool processBlock(IOwnEffect& effect, const BlockContext& context, const BlockBuffer& input,
                  BlockBuffer& output) noexcept RT_SECTION;

} // namespace tovix
