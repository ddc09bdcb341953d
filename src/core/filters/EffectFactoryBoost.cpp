#include "filters/EffectFactoryBoost.h"

#include "filters/EffectBoost.h"
#include "filters/ParameterText.h"
#include "log/Log.h"
#include "text/SettingsNames.h"

namespace tovix {
namespace {

/// Fixed, so that those who watch the log for this line find it after any change to this file.
constexpr std::uint32_t mismatchLogLine = 30;

void logMismatch(const EffectFactoryBoost* pFactory, std::uint32_t fieldCount) {
    const FunctionLog log("EffectFactoryBoost::createFilter", "filters\\EffectFactoryBoost", pFactory);
    log.error({"Couldn't create boost filter. Params mismatch=", mismatchLogLine}, fieldCount);
}

} // namespace

FilterList EffectFactoryBoost::createFilter(std::wstring& name, const std::wstring& parameterText,
                                            const std::wstring&) {
    FilterList filters;
    if (name != settings::boost.wide()) {
        return filters;
    }
    const BoostParameters parameters = parseBoostParameters(parameterText);
    if (parameters.fieldCount != 2) {
        logMismatch(this, parameters.fieldCount);
        return filters;
    }
    if (auto filter = makeRt<EffectBoost>(parameters.level, parameters.mode == 1)) {
        filters.push_back(std::move(filter));
    }
    return filters;
}

} // namespace tovix
