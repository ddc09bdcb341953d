#include "filters/EffectFactoryEqualizer.h"

#include "filters/EffectEqualizer.h"
#include "filters/ParameterText.h"
#include "text/SettingsNames.h"

namespace tovix {

FilterList EffectFactoryEqualizer::createFilter(std::wstring& name, const std::wstring& parameterText,
                                                const std::wstring&) {
    FilterList filters;
    if (name != settings::equalizer.wide()) {
        return filters;
    }
    if (auto filter = makeRt<EffectEqualizer>(parseResponsePoints(parameterText), equalizerTapCount)) {
        filters.push_back(std::move(filter));
    }
    return filters;
}

} // namespace tovix
