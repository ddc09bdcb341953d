#pragma once

#include "filters/IFilterFactory.h"

namespace tovix {

/// Builds EffectMaximizer from lines named "Maximizer"; parameters that do not parse are logged. [control]
class EffectFactoryMaximizer final : public IFilterFactory {
public:
    FilterList createFilter(std::wstring& name, const std::wstring& parameterText, const std::wstring& line) override;
};

} // namespace tovix
