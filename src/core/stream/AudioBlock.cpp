#include "stream/AudioBlock.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <xmmintrin.h>

namespace tovix {
namespace {

/// Magnitude up to which a sample counts as silence.
constexpr double silenceMagnitude = 1e-10;

/// While it lives, this thread's denormal operands and results count as zero. Without it, decaying filters
/// slow down on them. Restores the thread's control word, status flags included.
class DenormalsOff {
public:
    [[gnu::always_inline]] DenormalsOff() noexcept : m_before(_mm_getcsr()) {
        constexpr unsigned flushToZero = 0x8000;
        constexpr unsigned denormalsAreZero = 0x0040;
        _mm_setcsr(m_before | flushToZero | denormalsAreZero);
    }
    [[gnu::always_inline]] ~DenormalsOff() { _mm_setcsr(m_before); }
    DenormalsOff(const DenormalsOff&) = delete;
    DenormalsOff& operator=(const DenormalsOff&) = delete;

private:
    unsigned m_before;
};

RT_SECTION void clear(float* samples, std::uint32_t frameCount, std::uint32_t channels) noexcept {
    std::memset(samples, 0, std::size_t{frameCount} * channels * sizeof(float));
}

RT_SECTION void markSilent(BlockBuffer& output, std::uint32_t channels) noexcept {
    if (output.samples != nullptr) {
        clear(output.samples, output.validFrameCount, channels);
    }
    output.flags = BufferFlags::silent;
}

RT_SECTION bool isSilent(const float* samples, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        if (static_cast<double>(std::fabs(samples[i])) > silenceMagnitude) {
            return false;
        }
    }
    return true;
}

} // namespace

bool processBlock(IOwnEffect& effect, const BlockContext& context, const BlockBuffer& input,
                  BlockBuffer& output) noexcept {
    if (input.flags != BufferFlags::valid && input.flags != BufferFlags::silent) {
        return false;
    }
    const DenormalsOff denormalsOff;
    const std::uint32_t frameCount = input.validFrameCount;
    output.validFrameCount = frameCount;
    if (input.samples == nullptr || output.samples == nullptr) {
        markSilent(output, context.outputChannels);
        return true;
    }
    if (input.flags == BufferFlags::silent) {
        clear(input.samples, frameCount, context.inputChannels);
    }
    const float* chainInput = input.samples;
    if (context.pPrevious != nullptr) {
        context.pPrevious->processBlock();
        chainInput = output.samples;
    }
    {
        const DenormalsOff againAfterThePreviousEffect;
        effect.process(output.samples, chainInput, frameCount);
    }
    if (input.flags == BufferFlags::valid) {
        output.flags = BufferFlags::valid;
        return true;
    }
    if (!context.processSilence) {
        markSilent(output, context.outputChannels);
        return true;
    }
    const bool silent = isSilent(output.samples, std::size_t{frameCount} * context.outputChannels);
    output.flags = silent ? BufferFlags::silent : BufferFlags::valid;
    return true;
}

} // namespace tovix
