#pragma once

#include "filters/IFilterFactory.h"

#include <cstdint>

namespace tovix {

/// Length of every equalizer's impulse response.
constexpr std::uint32_t equalizerTapCount = 16384;

/// Builds EffectEqualizer from lines named "Equalizer". Any text is taken: see parseResponsePoints. [control]
class EffectFactoryEqualizer final : public IFilterFactory {
public:
    FilterList createFilter(std::wstring& name, const std::wstring& parameterText, const std::wstring& line) override;
};

} // namespace tovix
