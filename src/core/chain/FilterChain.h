#pragma once

#include "filters/IFilter.h"
#include "kernels/Kernels.h"
#include "memory/AlignedArray.h"
#include "memory/RtPtr.h"
#include "memory/RtSection.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace tovix {

/// One filter in a chain and the planar buffers that it reads and writes.
struct FilterStage {
    FilterPtr filter;
    /// What the filter's `processesInPlace` says.
    bool inPlace = true;
    /// Buffer index of each input channel; no entry means that the array of input pointers is used as the stage
    /// before left it.
    RtArray<std::uint64_t> inputIndices;
    /// The same for the output channels.
    RtArray<std::uint64_t> outputIndices;
};

using StagePtr = RtPtr<FilterStage>;

/// The channels of a chain and the largest block it takes.
struct ChainShape {
    std::uint32_t inputChannels = 0;
    std::uint32_t outputChannels = 0;
    /// Planar buffers: one per channel name, at least max(inputChannels, outputChannels).
    std::uint32_t bufferCount = 0;
    /// Frames of every planar buffer.
    std::uint32_t maxFrames = 0;
};

/// One built chain: planar working buffers and the filters that run over them, all in MemoryMgr memory.
///
/// Built and destroyed on a control thread; in between it belongs to the audio thread (see ChainSlots).
class FilterChain {
public:
    /// [control] Makes a chain and moves `stages` into it; null, and the stages left alone, when there is no memory.
    static RtPtr<FilterChain> make(const ChainShape& shape, std::span<StagePtr> stages) noexcept;

    /// [audio] Splits the interleaved `input` (frameCount frames of `inputChannels`) into the planar buffers and
    /// runs every stage. frameCount is at most `maxFrames`. Before each stage, the rest of every working buffer is
    /// zeroed behind a shorter block. A mono input also fills the second channel of a wider chain.
    void run(const float* input, std::uint32_t frameCount) noexcept RT_SECTION;

    /// [audio] Interleaves the first `outputChannels` planar buffers into `output`; a sample that is not finite
    /// becomes 0, so that a faulty filter cannot emit it.
    void writeOutput(float* output, std::uint32_t frameCount) const noexcept RT_SECTION;

    /// [audio] The planar buffers, `outputChannels` of them being the chain's output after `run`.
    [[nodiscard]] float* const* buffers() const noexcept RT_SECTION;

    /// [audio] Also for a control thread that holds the chain.
    [[nodiscard, gnu::always_inline]] std::uint64_t stageCount() const noexcept { return m_stages.size(); }

    /// [control] The filter of a stage, for a thread that holds the chain.
    [[nodiscard]] const IFilter& filter(std::size_t stage) const noexcept { return *m_stages[stage]->filter; }

    FilterChain(const FilterChain&) = delete;
    FilterChain& operator=(const FilterChain&) = delete;
    /// [control] Destroys the stages and their filters.
    ~FilterChain();

private:
    template <class T, class... Args> friend RtPtr<T> makeRt(Args&&... args);
    explicit FilterChain(const ChainShape& shape) noexcept;

    bool allocate(std::size_t stageCount) noexcept;
    void splitInput(const float* input, std::uint32_t frameCount) noexcept RT_SECTION;
    void clearRest(std::uint32_t frameCount) noexcept RT_SECTION;
    void runStage(const FilterStage& stage, std::uint32_t frameCount) noexcept RT_SECTION;

    ChainShape m_shape;
    const Kernels* m_pKernels;
    /// The samples behind both sets of buffers, one after the other.
    RtArray<float> m_samples;
    RtArray<float*> m_buffers;
    RtArray<float*> m_scratch;
    RtArray<float*> m_inputPtrs;
    RtArray<float*> m_outputPtrs;
    /// The two pointer arrays in their present roles; a stage that is not in place exchanges them.
    float** m_pInputs = nullptr;
    float** m_pOutputs = nullptr;
    /// Owned stages in processing order.
    RtArray<FilterStage*> m_stages;
};

} // namespace tovix
