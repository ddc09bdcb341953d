#pragma once

#include "filters/IFilterFactory.h"

namespace tovix {

/// Builds EffectBoost from lines named "Boost"; parameters that do not parse are logged. [control]
class EffectFactoryBoost final : public IFilterFactory {
public:
    FilterList createFilter(std::wstring& name, const std::wstring& parameterText, const std::wstring& line) override;
};

} // namespace tovix
