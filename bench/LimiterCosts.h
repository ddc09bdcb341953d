#pragma once

#include "LimiterTable.h"
#include "filters/IFilter.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace tovix::bench {

/// Times a filter block by block over a sound that comes round again and again. Of each block of the sound the
/// quickest round counts, so that neither another program nor a slow clock is taken for an uneven cost.
class BlockCosts {
public:
    /// The same `sound` in both channels, as many blocks as it has whole.
    BlockCosts(std::unique_ptr<IFilter> filter, std::vector<float> sound, std::uint32_t blockFrames);

    void playOnce();

    /// Of all blocks the one below whose cost lies this share of them, in ns per frame.
    [[nodiscard]] double nsPerFrame(double share) const;

    /// What 99 % of the blocks cost at most, over the median.
    [[nodiscard]] double unevenness() const { return nsPerFrame(0.99) / nsPerFrame(0.5); }

private:
    std::unique_ptr<IFilter> m_filter;
    std::vector<float> m_sound;
    std::uint32_t m_blockFrames;
    std::vector<float> m_left;
    std::vector<float> m_right;
    std::vector<double> m_blockNs;
};

/// Prints what the limiters of both settings cost with sounds that are harmless, steady, and as hard as can be.
void printLimiterCosts(Outcome& outcome);

} // namespace tovix::bench
