#include "render/measure/LimiterProbe.h"

#include "curves/Numbers.h"
#include "filters/Decibels.h"

#include <algorithm>
#include <cmath>

namespace tovix::render {
namespace {

/// In quieter frames the rounding of 32-bit samples comes near to what counts as limiting.
constexpr float quietestSample = 1e-6F;
/// 0.001 dB as a factor.
constexpr double limitedFactor = 0.99988488;

/// The one line with a limiter among the lines that build filters, and what stands before it.
struct LimiterLine {
    /// Lines of a boost or a maximizer.
    std::size_t boostCount = 0;
    /// Level of the line's gain in tenths of a dB, where it has a limiter.
    std::optional<std::int32_t> level;
    std::string linesBefore;
    std::string line;
    bool isLast = false;
};

std::optional<std::int32_t> limitedLevel(const LineDiagnosis& diagnosis) {
    const bool isLimited = diagnosis.maximizer || diagnosis.boost->mode == 1;
    return isLimited ? std::optional(diagnosis.levelTenths) : std::nullopt;
}

LimiterLine findLimiter(const Settings& settings) {
    LimiterLine found;
    for (std::size_t i = 0; i < settings.lines().size(); ++i) {
        const auto& diagnosis = settings.diagnoses()[i];
        if (diagnosis.outcome != LineOutcome::buildsFilter) {
            continue;
        }
        found.isLast = diagnosis.boost || diagnosis.maximizer;
        if (found.isLast) {
            ++found.boostCount;
            found.level = limitedLevel(diagnosis);
            found.line = settings.lines()[i];
        } else if (found.boostCount == 0) {
            found.linesBefore += settings.lines()[i] + '\n';
        }
    }
    return found;
}

} // namespace

void LimiterProbe::Replay::open(const EngineFormat& format, const std::string& settings) {
    m_engine.emplace();
    m_output.resize(std::size_t{format.blockFrames} * format.outputChannels);
    m_engine->open(format, settings);
}

const float* LimiterProbe::Replay::run(const float* input) {
    if (!m_engine) {
        return input;
    }
    m_engine->process(input, m_output.data());
    return m_output.data();
}

LimiterProbe::LimiterProbe(const EngineFormat& format, bool isBehindPreviousEffect) : m_format(format) {
    m_activity.isBehindPreviousEffect = isBehindPreviousEffect;
}

void LimiterProbe::follow(const Settings& settings) {
    if (m_activity.isBehindPreviousEffect) {
        return;
    }
    const LimiterLine limiter = findLimiter(settings);
    m_before.close();
    m_limiter.close();
    m_activity.ambiguous |= limiter.boostCount > 1;
    m_active = limiter.boostCount == 1 && limiter.level;
    if (!m_active) {
        return;
    }
    m_activity.present = true;
    m_limiterIsLast = limiter.isLast;
    m_preGain = std::exp(*limiter.level * nepersPerTenth);
    EngineFormat format = m_format;
    format.outputChannels = format.inputChannels;
    if (!limiter.linesBefore.empty()) {
        m_before.open(format, limiter.linesBefore);
    }
    if (!limiter.isLast) {
        m_limiter.open(format, limiter.line);
    }
}

std::optional<double> LimiterProbe::addBlock(const float* input, const float* output, std::size_t frameCount,
                                             bool settled) {
    if (!m_active) {
        return std::nullopt;
    }
    const float* const before = m_before.run(input);
    const float* const after = m_limiterIsLast ? output : m_limiter.run(before);
    if (!settled) {
        return std::nullopt;
    }
    const double gain =
        smallestGain(before, after, m_limiterIsLast ? m_format.outputChannels : m_format.inputChannels, frameCount);
    const double reductionDb = std::max(0.0, -decibelsOf(gain));
    m_activity.peakReductionDb = std::max(m_activity.peakReductionDb, reductionDb);
    return reductionDb;
}

/// Smallest gain of the block's frames beyond the pre-gain, and the counts of the activity.
double LimiterProbe::smallestGain(const float* before, const float* after, std::uint32_t afterChannels,
                                  std::size_t frameCount) {
    const std::uint32_t shared = std::min(m_format.inputChannels, afterChannels);
    double smallest = 1.0;
    for (std::size_t f = 0; f < frameCount; ++f) {
        const float* const in = before + f * m_format.inputChannels;
        const float* const loudest =
            std::max_element(in, in + shared, [](float a, float b) { return std::fabs(a) < std::fabs(b); });
        const float out = after[f * afterChannels + static_cast<std::size_t>(loudest - in)];
        const double expected = std::fabs(*loudest) * m_preGain;
        if (!std::isfinite(expected) || std::fabs(*loudest) < quietestSample || expected < quietestSample) {
            continue;
        }
        const double gain = std::fabs(out) / expected;
        ++m_activity.measuredFrames;
        m_activity.limitedFrames += gain < limitedFactor ? 1 : 0;
        smallest = std::min(smallest, gain);
    }
    return smallest;
}

} // namespace tovix::render
