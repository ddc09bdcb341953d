#include "stream/ChannelAdapter.h"

#include <cstddef>
#include <cstring>

namespace tovix {
namespace {

RT_SECTION void adaptFrame(const ChannelChange& change, std::size_t frame) noexcept {
    const std::size_t in = change.inputChannels;
    const std::size_t out = change.outputChannels;
    const std::size_t shared = in < out ? in : out;
    float* const target = change.output + frame * out;
    std::memmove(target, change.input + frame * in, shared * sizeof(float));
    std::memset(target + shared, 0, (out - shared) * sizeof(float));
    if (in == 1 && out >= 2) {
        target[1] = target[0];
    }
}

} // namespace

void adaptChannels(const ChannelChange& change) noexcept {
    if (change.outputChannels == change.inputChannels) {
        if (change.output != change.input) {
            std::memcpy(change.output, change.input,
                        std::size_t{change.frameCount} * change.inputChannels * sizeof(float));
        }
        return;
    }
    // A wider output is filled from the last frame back, so that a shared buffer is read before it is overwritten.
    const bool backward = change.outputChannels > change.inputChannels;
    for (std::size_t i = 0; i < change.frameCount; ++i) {
        adaptFrame(change, backward ? change.frameCount - 1 - i : i);
    }
}

} // namespace tovix
