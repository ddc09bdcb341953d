#pragma once

#include "filters/IFilterFactory.h"

#include <cstdint>

namespace tovix {

/// Length of every equalizer's impulse response. A fuzzer, whose build defines this name, gets through many more
/// texts with a short one, which runs the same code.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr std::uint32_t equalizerTapCount = 64;
#else
constexpr std::uint32_t equalizerTapCount = 16384;
#endif

/// Builds EffectEqualizer from lines named "Equalizer". Any text is taken: see parseResponsePoints. [control]
class EffectFactoryEqualizer final : public IFilterFactory {
public:
    FilterList createFilter(std::wstring& name, const std::wstring& parameterText, const std::wstring& line) override;
};

} // namespace tovix
