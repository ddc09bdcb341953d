#include "render/report/ResponseReport.h"

#include "curves/Numbers.h"
#include "filters/EffectFactoryEqualizer.h"
#include "filters/EqualizerDesign.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <ostream>

namespace tovix::render {
namespace {

constexpr int rowsPerDecade = 300;

struct Equalizer {
    std::vector<ResponsePoint> points;
    std::vector<float> impulseResponse;
};

std::vector<Equalizer> designAll(const Settings& settings, std::uint32_t sampleRateHz) {
    std::vector<Equalizer> equalizers;
    for (const auto& diagnosis : settings.diagnoses()) {
        if (!diagnosis.equalizer) {
            continue;
        }
        Equalizer equalizer{*diagnosis.equalizer, {1.0F}};
        const auto taps =
            designImpulseResponse({equalizer.points, equalizerTapCount, static_cast<float>(sampleRateHz)});
        if (taps) {
            equalizer.impulseResponse.assign(taps.data(), taps.data() + equalizerTapCount);
        }
        equalizers.push_back(std::move(equalizer));
    }
    return equalizers;
}

/// The discrete-time Fourier transform of the taps at one frequency (Horner's rule).
std::complex<double> transferAt(const std::vector<float>& taps, double radiansPerFrame) {
    const std::complex<double> delay = std::polar(1.0, -radiansPerFrame);
    std::complex<double> sum;
    for (auto tap = taps.rbegin(); tap != taps.rend(); ++tap) {
        sum = std::complex<double>(sum.real() * delay.real() - sum.imag() * delay.imag() + static_cast<double>(*tap),
                                   sum.real() * delay.imag() + sum.imag() * delay.real());
    }
    return sum;
}

void writePoints(std::ostream& file, const std::vector<Equalizer>& equalizers) {
    for (const auto& equalizer : equalizers) {
        for (const auto& point : equalizer.points) {
            file << "point," << formatDecimal(point.frequencyHz) << ',' << formatDecimal(point.gainDb) << ",,\n";
        }
    }
}

void writeRow(std::ostream& file, const std::vector<Equalizer>& equalizers, double hz, std::uint32_t sampleRateHz) {
    double targetDb = 0.0;
    double designedDb = 0.0;
    double phase = 0.0;
    for (const auto& equalizer : equalizers) {
        targetDb += ResponseInterpolator(equalizer.points).gainDb(hz);
        const auto transfer = transferAt(equalizer.impulseResponse, 2.0 * std::numbers::pi * hz / sampleRateHz);
        designedDb += decibelsOf(std::abs(transfer));
        phase += std::arg(transfer);
    }
    const double degrees = std::remainder(phase * 180.0 / std::numbers::pi, 360.0);
    file << "response," << formatFixed(hz, 3) << ',' << (std::isfinite(targetDb) ? formatFixed(targetDb, 4) : "")
         << ',' << formatFixed(designedDb, 4) << ',' << formatFixed(degrees, 3) << '\n';
}

} // namespace

ResponseReport::ResponseReport(const std::string& name, const Settings& settings, std::uint32_t sampleRateHz)
    : m_file(name) {
    const auto equalizers = designAll(settings, sampleRateHz);
    auto& file = m_file.stream();
    file << "kind,frequency_hz,target_db,designed_db,phase_degrees\n";
    writePoints(file, equalizers);
    const double highestHz = sampleRateHz / 2.0;
    const double lowestHz = std::min(10.0, highestHz / 1000.0);
    const int rows = static_cast<int>(std::ceil(std::log10(highestHz / lowestHz) * rowsPerDecade));
    for (int row = 0; row <= rows; ++row) {
        const double hz = lowestHz * std::pow(highestHz / lowestHz, static_cast<double>(row) / rows);
        writeRow(file, equalizers, hz, sampleRateHz);
    }
}

} // namespace tovix::render
