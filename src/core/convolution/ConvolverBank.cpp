#include "convolution/ConvolverBank.h"

#include "memory/MemoryMgr.h"

#include <cstddef>
#include <utility>

namespace tovix {

BlockConvolverPtr ConvolverBank::make(const ConvolverTask& task) noexcept {
    static_assert(alignof(PartitionedConvolver) <= MemoryMgr::alignmentBytes);
    const std::size_t count = task.channelCount;
    auto* const pConvolvers =
        static_cast<PartitionedConvolver*>(MemoryMgr::alloc(count * sizeof(PartitionedConvolver)));
    if (pConvolvers == nullptr) {
        return nullptr;
    }
    std::uninitialized_value_construct_n(pConvolvers, count);
    Convolvers convolvers{pConvolvers, Destroy{task.channelCount}};
    if (!PartitionedConvolver::initAll({pConvolvers, count}, task.taps, task.blockFrames)) {
        return nullptr;
    }
    return makeRt<ConvolverBank>(std::move(convolvers));
}

void ConvolverBank::Destroy::operator()(PartitionedConvolver* pConvolvers) const noexcept {
    PartitionedConvolver::destroyAll({pConvolvers, count});
    std::destroy_n(pConvolvers, count);
    MemoryMgr::free(pConvolvers);
}

void ConvolverBank::process(float* const* outputs, const float* const* inputs) noexcept {
    PartitionedConvolver* const pConvolvers = m_convolvers.get();
    const std::uint32_t count = m_convolvers.get_deleter().count;
    for (std::uint32_t c = 0; c < count; ++c) {
        PartitionedConvolver& convolver = pConvolvers[c];
        convolver.pushInput(inputs[c]);
        convolver.accumulate();
        convolver.popOutput(outputs[c]);
    }
}

} // namespace tovix
