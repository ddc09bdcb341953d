#pragma once

#include "convolution/BlockConvolver.h"
#include "convolution/PartitionedConvolver.h"
#include "memory/RtSection.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace tovix {

/// One PartitionedConvolver per channel, one after the other: the reference engine, for any processor.
class ConvolverBank final : public BlockConvolver {
public:
    /// [control] Null when memory or a plan is refused.
    static BlockConvolverPtr make(const ConvolverTask& task) noexcept;

    /// [audio] See BlockConvolver.
    void process(float* const* outputs, const float* const* inputs) noexcept override RT_SECTION;

private:
    struct Destroy {
        std::uint32_t count = 0;
        void operator()(PartitionedConvolver* pConvolvers) const noexcept;
    };
    using Convolvers = std::unique_ptr<PartitionedConvolver[], Destroy>;

public:
    /// [control] Use `make`.
    explicit ConvolverBank(Convolvers convolvers) noexcept : m_convolvers(std::move(convolvers)) {}

private:
    Convolvers m_convolvers;
};

} // namespace tovix
