#include "BlockProcess.h"

#include "platform/DenormalsOff.h"

#include <cmath>
#include <cstddef>
#include <cstring>

namespace tovix {
namespace {

/// Magnitude up to which a sample counts as silence.
constexpr double silenceMagnitude = 1e-10;

RT_SECTION void clear(float* samples, std::uint32_t frameCount, std::uint32_t channels) noexcept {
    std::memset(samples, 0, std::size_t{frameCount} * channels * sizeof(float));
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

void processBlock(IBlockEffect& effect, const BlockContext& context, const BlockConnection& input,
                  BlockConnection& output) noexcept {
    if (input.flags != BufferFlags::valid && input.flags != BufferFlags::silent) {
        return;
    }
    const DenormalsOff denormalsOff;
    const std::uint32_t frameCount = input.validFrameCount;
    if (input.flags == BufferFlags::silent) {
        clear(input.samples, frameCount, context.inputChannels);
    }
    const float* chainInput = input.samples;
    if (context.pPrevious != nullptr) {
        context.pPrevious->processBlock();
        chainInput = output.samples;
    }
    effect.process(output.samples, chainInput, frameCount);
    output.validFrameCount = frameCount;
    if (input.flags == BufferFlags::valid) {
        output.flags = BufferFlags::valid;
        return;
    }
    if (!context.processSilence) {
        clear(output.samples, frameCount, context.outputChannels);
        output.flags = BufferFlags::silent;
        return;
    }
    const bool silent = isSilent(output.samples, std::size_t{frameCount} * context.outputChannels);
    output.flags = silent ? BufferFlags::silent : BufferFlags::valid;
}

} // namespace tovix
