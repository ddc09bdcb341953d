#include "VectorSpeed.h"

#include "Contestant.h"

#include <immintrin.h>

#include <algorithm>

namespace tovix::bench {
namespace {

constexpr std::size_t chains = VectorSpeed::chains;

[[gnu::target("avx2,fma")]] float multiplyAdds256(std::size_t rounds) {
    __m256 sums[chains]{};
    for (std::size_t i = 0; i < chains; ++i) {
        // Chains that began alike would be one for the compiler.
        sums[i] = _mm256_set1_ps(static_cast<float>(rounds + i));
    }
    const __m256 factor = _mm256_set1_ps(0.5F);
    for (std::size_t i = 0; i < rounds; ++i) {
#pragma GCC unroll 16
        for (auto& sum : sums) {
            sum = _mm256_fmadd_ps(sum, factor, factor);
        }
    }
    __m256 total = sums[0];
    for (const auto& sum : sums) {
        total = _mm256_add_ps(total, sum);
    }
    return _mm256_cvtss_f32(total);
}

[[gnu::target("avx2,fma")]] float read256(std::span<const float> values) {
    __m256 sums[4]{};
    for (std::size_t i = 0; i + 32 <= values.size(); i += 32) {
#pragma GCC unroll 4
        for (std::size_t j = 0; j < 4; ++j) {
            sums[j] = _mm256_add_ps(sums[j], _mm256_loadu_ps(values.data() + i + 8 * j));
        }
    }
    return _mm256_cvtss_f32(_mm256_add_ps(_mm256_add_ps(sums[0], sums[1]), _mm256_add_ps(sums[2], sums[3])));
}

[[gnu::target("avx512f")]] float multiplyAdds512(std::size_t rounds) {
    __m512 sums[chains]{};
    for (std::size_t i = 0; i < chains; ++i) {
        // Chains that began alike would be one for the compiler.
        sums[i] = _mm512_set1_ps(static_cast<float>(rounds + i));
    }
    const __m512 factor = _mm512_set1_ps(0.5F);
    for (std::size_t i = 0; i < rounds; ++i) {
#pragma GCC unroll 16
        for (auto& sum : sums) {
            sum = _mm512_fmadd_ps(sum, factor, factor);
        }
    }
    __m512 total = sums[0];
    for (const auto& sum : sums) {
        total = _mm512_add_ps(total, sum);
    }
    return _mm512_cvtss_f32(total);
}

[[gnu::target("avx512f")]] float read512(std::span<const float> values) {
    __m512 sums[4]{};
    for (std::size_t i = 0; i + 64 <= values.size(); i += 64) {
#pragma GCC unroll 4
        for (std::size_t j = 0; j < 4; ++j) {
            sums[j] = _mm512_add_ps(sums[j], _mm512_loadu_ps(values.data() + i + 16 * j));
        }
    }
    return _mm512_cvtss_f32(_mm512_add_ps(_mm512_add_ps(sums[0], sums[1]), _mm512_add_ps(sums[2], sums[3])));
}

/// The least that many tries take: whatever else goes on makes it longer.
template <class Work> double leastNs(Work work) {
    double least = nsOf(work);
    for (int i = 0; i < 200; ++i) {
        least = std::min(least, nsOf(work));
    }
    return least;
}

volatile float kept = 0.0F;

} // namespace

const VectorSpeed* vectorSpeedOf(std::string_view engine) {
    static const VectorSpeed avx2{8, multiplyAdds256, read256};
    static const VectorSpeed avx512{16, multiplyAdds512, read512};
    const auto engines = availableConvolverEngines();
    const bool available = std::any_of(engines.begin(), engines.end(),
                                       [engine](const ConvolverEngine* pEngine) { return pEngine->name == engine; });
    return !available ? nullptr : engine == "avx2" ? &avx2 : engine == "avx512" ? &avx512 : nullptr;
}

double nsPerMultiplyAdd(const VectorSpeed& speed) {
    constexpr std::size_t rounds = 20000;
    return leastNs([&] { kept = speed.multiplyAdds(rounds); }) / static_cast<double>(rounds * chains);
}

double nsPerRead(const VectorSpeed& speed, std::size_t floats) {
    const std::vector<float> values(floats);
    return leastNs([&] { kept = speed.read(values); });
}

} // namespace tovix::bench
