#include "render/measure/Loudness.h"

#include "curves/Numbers.h"

#include <algorithm>
#include <array>

namespace tovix::render {
namespace {

/// The library takes no more.
constexpr std::uint32_t mostChannels = 64;

/// What each speaker of the mask is to the loudness formula: surround channels count more, LFE does not.
constexpr std::array<int, 18> roles{
    EBUR128_LEFT,  EBUR128_RIGHT, EBUR128_CENTER, EBUR128_UNUSED, EBUR128_LEFT_SURROUND, EBUR128_RIGHT_SURROUND,
    EBUR128_MpSC,  EBUR128_MmSC,  EBUR128_Mp180,  EBUR128_Mp090,  EBUR128_Mm090,         EBUR128_Tp000,
    EBUR128_Up045, EBUR128_Up000, EBUR128_Um045,  EBUR128_Up135,  EBUR128_Up180,         EBUR128_Um135};

int roleOf(std::size_t bit, std::uint32_t channelMask) {
    constexpr std::uint32_t sides = 0x600;
    constexpr std::size_t backLeft = 4;
    constexpr std::size_t backRight = 5;
    // Beside side speakers, the back ones stand behind the listener, where sound counts like the front's.
    if ((channelMask & sides) == sides && (bit == backLeft || bit == backRight)) {
        return bit == backLeft ? EBUR128_Mp135 : EBUR128_Mm135;
    }
    return roles[bit];
}

} // namespace

void Loudness::Destroy::operator()(ebur128_state* pState) const noexcept {
    ebur128_destroy(&pState);
}

Loudness::Loudness(std::uint32_t channels, std::uint32_t channelMask, std::uint32_t sampleRateHz) {
    if (channels > mostChannels) {
        return;
    }
    m_state.reset(ebur128_init(channels, sampleRateHz, EBUR128_MODE_I | EBUR128_MODE_TRUE_PEAK));
    if (!m_state) {
        return;
    }
    std::uint32_t channel = 0;
    for (std::size_t bit = 0; bit < roles.size() && channel < channels; ++bit) {
        if ((channelMask >> bit & 1U) != 0) {
            ebur128_set_channel(m_state.get(), channel++, roleOf(bit, channelMask));
        }
    }
}

void Loudness::add(const float* samples, std::size_t frameCount) {
    if (m_state) {
        ebur128_add_frames_float(m_state.get(), samples, frameCount);
    }
}

LoudnessFigures Loudness::figures() const {
    LoudnessFigures figures;
    if (!m_state) {
        return figures;
    }
    double value = 0.0;
    if (ebur128_loudness_global(m_state.get(), &value) == EBUR128_SUCCESS) {
        figures.integratedLufs = value;
    }
    double peak = 0.0;
    for (unsigned channel = 0; channel < m_state->channels; ++channel) {
        if (ebur128_true_peak(m_state.get(), channel, &value) != EBUR128_SUCCESS) {
            return figures;
        }
        peak = std::max(peak, value);
    }
    figures.truePeakDb = decibelsOf(peak);
    return figures;
}

} // namespace tovix::render
