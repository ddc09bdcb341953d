#include "chain/ChainCost.h"

#include "chain/FilterChain.h"
#include "chain/StagePlanner.h"
#include "memory/MemoryMgr.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace tovix {
namespace {

/// Blocks of a try. The engines deal their work out over two, three, four or eight blocks.
constexpr std::size_t longestTry = 24;
/// A try plays no more sound than this, but one block at least: long blocks cost all the same.
constexpr double longestTrySeconds = 0.1;
constexpr int mostTries = 8;
/// With this share no try is needed any more: two such chains leave enough time in a fade.
constexpr double easyShare = maxBlockShare / 2.0;
/// When each of so many blocks took `hopelessFactor` times what it may, no other program is to blame.
constexpr std::size_t hopelessBlocks = 8;
constexpr double hopelessFactor = 2.0;

/// Loud, and in no order.
std::vector<float> loudNoise(std::size_t count) {
    std::vector<float> samples(count);
    std::uint32_t state = 1;
    for (float& sample : samples) {
        state = state * 1664525U + 1013904223U;
        sample = static_cast<float>(static_cast<std::int32_t>(state)) * 0x1p-29F;
    }
    return samples;
}

RtPtr<FilterChain> standInFor(const FilterChain& chain, const StreamFormat& format) {
    StagePlanner planner(format);
    for (std::size_t i = 0; i < chain.stageCount(); ++i) {
        auto filter = chain.filter(i).standIn();
        if (filter && !planner.append(std::move(filter))) {
            return nullptr;
        }
    }
    return FilterChain::make(planner.shape(), planner.stages());
}

/// Plays blocks through a chain and remembers how long they took.
class Trial {
public:
    Trial(FilterChain& chain, const StreamFormat& format, NanosecondClock clock)
        : m_chain(chain), m_frames(format.maxFrames), m_clock(clock),
          m_input(loudNoise(std::size_t{format.maxFrames} * format.inputChannels)),
          m_output(std::size_t{format.maxFrames} * format.outputChannels) {}

    /// The cost as far as the trial had to go. `availableSeconds` is that of a block.
    ChainCost run(double availableSeconds) {
        const double fitting = std::min(longestTrySeconds / availableSeconds, static_cast<double>(longestTry));
        m_least.assign(std::max<std::size_t>(static_cast<std::size_t>(fitting), 1),
                       std::numeric_limits<double>::infinity());
        ChainCost cost{0.0, availableSeconds};
        std::size_t blocks = 0;
        for (int tries = 0; tries < mostTries; ++tries) {
            for (double& least : m_least) {
                least = std::min(blockSeconds(), least);
                m_leastOfAll = std::min(least, m_leastOfAll);
                if (++blocks >= hopelessBlocks && m_leastOfAll > hopelessFactor * maxBlockShare * availableSeconds) {
                    cost.blockSeconds = m_leastOfAll;
                    return cost;
                }
            }
            cost.blockSeconds = *std::max_element(m_least.begin(), m_least.end());
            if (cost.share() <= easyShare) {
                break;
            }
        }
        return cost;
    }

private:
    double blockSeconds() {
        const std::int64_t start = m_clock();
        m_chain.run(m_input.data(), m_frames);
        m_chain.writeOutput(m_output.data(), m_frames);
        return static_cast<double>(m_clock() - start) * 1e-9;
    }

    FilterChain& m_chain;
    std::uint32_t m_frames;
    NanosecondClock m_clock;
    std::vector<float> m_input;
    std::vector<float> m_output;
    /// For each block of a try the least that it has taken in any.
    std::vector<double> m_least;
    double m_leastOfAll = std::numeric_limits<double>::infinity();
};

} // namespace

std::optional<ChainCost> measureCost(const FilterChain& chain, const StreamFormat& format,
                                     NanosecondClock clock) noexcept {
    const double availableSeconds = static_cast<double>(format.maxFrames) / static_cast<double>(format.sampleRateHz);
    // A chain without a stage only copies. Without a rate no time is known.
    if (chain.stageCount() == 0 || !(availableSeconds > 0.0)) {
        return ChainCost{0.0, std::numeric_limits<double>::infinity()};
    }
    const std::uint32_t refusedBefore = refusedAllocations();
    try {
        const auto standIn = standInFor(chain, format);
        // Without memory a stand-in may be missing or inert.
        if (standIn && refusedAllocations() == refusedBefore) {
            return Trial(*standIn, format, clock).run(availableSeconds);
        }
    } catch (...) {
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace tovix
