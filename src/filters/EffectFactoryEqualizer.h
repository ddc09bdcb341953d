#pragma once

#include "filters/IFilterFactory.h"

namespace tovix {

/// Builds EffectEqualizer from lines named "Equalizer". Any text is taken: see parseResponsePoints.
class EffectFactoryEqualizer final : public IFilterFactory {
public:
    FilterList createFilter(std::wstring& name, const std::wstring& parameterText, const std::wstring& line) override;
};

} // namespace tovix
