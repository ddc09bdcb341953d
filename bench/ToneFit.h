#pragma once

#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>
#include <vector>

namespace tovix::bench {

/// What is left of `sound` once the best fit (least squares) of these frequencies and of a constant is taken from it,
/// as a share of the whole: of a tone, its total harmonic distortion and noise.
inline double residualOf(std::span<const float> sound, double rateHz, const std::vector<double>& frequenciesHz) {
    const std::size_t size = 2 * frequenciesHz.size() + 1;
    std::vector<std::vector<double>> normal(size, std::vector<double>(size + 1));
    std::vector<double> basis(size, 1.0);
    const auto setBasis = [&](std::size_t f) {
        for (std::size_t i = 0; i < frequenciesHz.size(); ++i) {
            const double phase = 2.0 * std::numbers::pi * frequenciesHz[i] * static_cast<double>(f) / rateHz;
            basis[2 * i] = std::cos(phase);
            basis[2 * i + 1] = std::sin(phase);
        }
    };
    for (std::size_t f = 0; f < sound.size(); ++f) {
        setBasis(f);
        for (std::size_t row = 0; row < size; ++row) {
            for (std::size_t column = 0; column < size; ++column) {
                normal[row][column] += basis[row] * basis[column];
            }
            normal[row][size] += basis[row] * static_cast<double>(sound[f]);
        }
    }
    for (std::size_t pivot = 0; pivot < size; ++pivot) {
        for (std::size_t row = 0; row < size; ++row) {
            const double factor = row == pivot ? 0.0 : normal[row][pivot] / normal[pivot][pivot];
            for (std::size_t column = pivot; column <= size; ++column) {
                normal[row][column] -= factor * normal[pivot][column];
            }
        }
    }
    double left = 0.0;
    double whole = 0.0;
    for (std::size_t f = 0; f < sound.size(); ++f) {
        setBasis(f);
        double rest = sound[f];
        for (std::size_t i = 0; i < size; ++i) {
            rest -= normal[i][size] / normal[i][i] * basis[i];
        }
        left += rest * rest;
        whole += static_cast<double>(sound[f]) * static_cast<double>(sound[f]);
    }
    return std::sqrt(left / whole);
}

} // namespace tovix::bench
