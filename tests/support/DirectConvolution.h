#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <random>
#include <span>
#include <vector>

namespace tovix::test {

inline std::vector<float> noise(std::size_t count, unsigned seed) {
    std::mt19937 generator{seed};
    std::normal_distribution<float> sample{0.0F, 0.25F};
    std::vector<float> samples(count);
    for (float& s : samples) {
        s = sample(generator);
    }
    return samples;
}

/// Sample `t` of the convolution of `x` with `h`, in double precision and by definition.
template <class Tap> double convolvedAt(std::span<const float> x, std::span<const Tap> h, std::size_t t) {
    double sum = 0.0;
    for (std::size_t n = 0; n < h.size() && n <= t; ++n) {
        sum += static_cast<double>(h[n]) * x[t - n];
    }
    return sum;
}

/// The block convolution with a gap in its spectra, by definition: each output block and its tail are the direct
/// convolution of the blocks of `x` with those of `h`, less the part of it that the missing bins carry.
class GappedConvolution {
public:
    GappedConvolution(std::span<const float> x, std::span<const float> h, std::size_t blockFrames)
        : m_x(x), m_h(h), m_blockFrames(blockFrames) {
        for (std::size_t bin = blockFrames / 4 * 4; bin < blockFrames; ++bin) {
            m_missing.push_back({bin, spectraOf(x, bin), spectraOf(h, bin)});
        }
    }

    [[nodiscard]] double at(std::size_t t) const {
        const std::size_t block = t / m_blockFrames;
        const std::size_t i = t % m_blockFrames;
        double sample = convolvedAt(m_x, m_h, t) - missingPart(block, i);
        if (block > 0) {
            sample -= missingPart(block - 1, i + m_blockFrames);
        }
        return sample;
    }

private:
    struct Missing {
        std::size_t bin;
        std::vector<std::complex<double>> x;
        std::vector<std::complex<double>> h;
    };

    [[nodiscard]] std::complex<double> rotation(std::size_t bin, std::size_t i) const {
        const std::size_t turns = bin * i % (2 * m_blockFrames);
        return std::polar(1.0, std::numbers::pi * static_cast<double>(turns) / static_cast<double>(m_blockFrames));
    }

    [[nodiscard]] std::vector<std::complex<double>> spectraOf(std::span<const float> signal, std::size_t bin) const {
        std::vector<std::complex<double>> values((signal.size() + m_blockFrames - 1) / m_blockFrames);
        for (std::size_t i = 0; i < signal.size(); ++i) {
            values[i / m_blockFrames] += static_cast<double>(signal[i]) * std::conj(rotation(bin, i % m_blockFrames));
        }
        return values;
    }

    /// Sample `i` of 2B of what the missing bins carry of the block that starts at `block`.
    [[nodiscard]] double missingPart(std::size_t block, std::size_t i) const {
        double sample = 0.0;
        for (const Missing& missing : m_missing) {
            std::complex<double> value{};
            for (std::size_t k = 0; k < missing.h.size() && k <= block; ++k) {
                value += missing.x[block - k] * missing.h[k];
            }
            const double sides = missing.bin == 0 ? 1.0 : 2.0;
            sample += sides * (value * rotation(missing.bin, i)).real() / (2.0 * static_cast<double>(m_blockFrames));
        }
        return sample;
    }

    std::span<const float> m_x;
    std::span<const float> m_h;
    std::size_t m_blockFrames;
    std::vector<Missing> m_missing;
};

/// Root mean square of a signal's error against `oracle(t)`, relative to that of the oracle; of every `step`-th
/// sample.
template <class Oracle> double relativeError(std::span<const float> signal, std::size_t step, const Oracle& oracle) {
    double error = 0.0;
    double energy = 0.0;
    for (std::size_t t = 0; t < signal.size(); t += step) {
        const double expected = oracle(t);
        error += (signal[t] - expected) * (signal[t] - expected);
        energy += expected * expected;
    }
    return std::sqrt(error / energy);
}

} // namespace tovix::test
