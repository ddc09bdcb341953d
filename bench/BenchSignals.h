#pragma once

#include "filters/ResponseInterpolator.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace tovix::bench {

constexpr std::uint32_t tapCount = 16384;

/// The settings whose design and cost are measured.
inline std::vector<ResponsePoint> benchPoints() {
    return {{100.0, -3.0}, {1000.0, 0.0}, {10000.0, 6.0}};
}

inline std::vector<float> noise(std::size_t count) {
    std::mt19937 generator{1};
    std::uniform_real_distribution<float> sample{-0.5F, 0.5F};
    std::vector<float> samples(count);
    for (float& s : samples) {
        s = sample(generator);
    }
    return samples;
}

/// Noise that decays by 60 dB over its length.
inline std::vector<float> decayingNoise(std::size_t count) {
    std::vector<float> samples = noise(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] *= std::pow(10.0F, -3.0F * static_cast<float>(i) / static_cast<float>(count));
    }
    return samples;
}

} // namespace tovix::bench
