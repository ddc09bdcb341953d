#include "render/measure/LevelTrace.h"

#include "curves/Numbers.h"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace tovix::render {
namespace {

constexpr double shortestRowSeconds = 0.05;
/// More rows than a picture of the levels has pixels would only make it large.
constexpr double mostRows = 2000.0;
constexpr double lowestDb = -150.0;

std::string levelText(double magnitude) {
    return formatFixed(std::max(decibelsOf(magnitude), lowestDb), 2);
}

std::uint64_t rowFrames(const TraceFormat& format) {
    const double wanted =
        std::max(shortestRowSeconds * format.sampleRateHz, static_cast<double>(format.frames) / mostRows);
    return format.blockFrames * static_cast<std::uint64_t>(std::ceil(wanted / format.blockFrames));
}

} // namespace

void LevelTrace::Level::add(const float* samples, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const double magnitude = std::fabs(static_cast<double>(samples[i]));
        if (std::isfinite(magnitude)) {
            peak = std::max(peak, magnitude);
            squares += magnitude * magnitude;
        }
    }
}

LevelTrace::LevelTrace(const std::string& name, const TraceFormat& format)
    : m_format(format), m_rowFrames(rowFrames(format)), m_file(name) {
    m_file.stream() << "seconds,input_peak_db,input_rms_db,output_peak_db,output_rms_db,limiter_reduction_db\n";
}

void LevelTrace::addBlock(const float* input, const float* output, std::size_t frameCount,
                          std::optional<double> reductionDb) {
    m_input.add(input, frameCount * m_format.inputChannels);
    m_output.add(output, frameCount * m_format.outputChannels);
    m_frames += frameCount;
    if (reductionDb) {
        m_reductionDb = std::max(m_reductionDb.value_or(0.0), *reductionDb);
    }
    if (m_frames >= m_rowFrames) {
        writeRow();
    }
}

void LevelTrace::writeRow() {
    const auto frames = static_cast<double>(m_frames);
    const double middle = (static_cast<double>(m_framesBefore) + frames / 2) / m_format.sampleRateHz;
    const double inputRms = std::sqrt(m_input.squares / (frames * m_format.inputChannels));
    const double outputRms = std::sqrt(m_output.squares / (frames * m_format.outputChannels));
    m_file.stream() << formatFixed(middle, 4) << ',' << levelText(m_input.peak) << ',' << levelText(inputRms) << ','
                    << levelText(m_output.peak) << ',' << levelText(outputRms) << ','
                    << (m_reductionDb ? formatFixed(*m_reductionDb, 3) : "") << '\n';
    m_framesBefore += m_frames;
    m_frames = 0;
    m_input = {};
    m_output = {};
    m_reductionDb.reset();
}

void LevelTrace::commit() {
    if (m_frames > 0) {
        writeRow();
    }
    m_file.commit();
}

} // namespace tovix::render
