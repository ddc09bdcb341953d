#include "filters/EffectFactoryMaximizer.h"

#include "filters/EffectMaximizer.h"
#include "filters/ParameterText.h"
#include "log/Log.h"
#include "text/SettingsNames.h"

#include <utility>

namespace tovix {

FilterList EffectFactoryMaximizer::createFilter(std::wstring& name, const std::wstring& parameterText,
                                                const std::wstring&) {
    FilterList filters;
    if (name != settings::maximizer.wide()) {
        return filters;
    }
    const auto parameters = parseMaximizerParameters(parameterText);
    if (!parameters) {
        const FunctionLog log("EffectFactoryMaximizer::createFilter", "filters\\EffectFactoryMaximizer", this);
        log.error("Couldn't create maximizer filter. No level in dB, or something else than a ceiling after it.");
        return filters;
    }
    if (auto filter = makeRt<EffectMaximizer>(parameters->level, parameters->ceiling)) {
        filters.push_back(std::move(filter));
    }
    return filters;
}

} // namespace tovix
