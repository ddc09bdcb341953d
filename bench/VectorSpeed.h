#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace tovix::bench {

/// What this machine can do at best with the vectors of one engine, measured with the smallest of loops.
struct VectorSpeed {
    std::size_t lanes;
    /// Runs `rounds` times `chains` fused multiply-adds that do not wait for each other.
    float (*multiplyAdds)(std::size_t rounds);
    /// Loads all of the values once.
    float (*read)(std::span<const float> values);

    /// As many as the machine's latency and width need.
    static constexpr std::size_t chains = 12;
};

/// Null for an engine without vectors of its own, or when the processor lacks them.
const VectorSpeed* vectorSpeedOf(std::string_view engine);

/// The least time for one multiply-add of whole vectors, and for reading `floats` floats again and again; ns.
double nsPerMultiplyAdd(const VectorSpeed& speed);
double nsPerRead(const VectorSpeed& speed, std::size_t floats);

} // namespace tovix::bench
