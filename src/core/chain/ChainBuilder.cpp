#include "chain/ChainBuilder.h"

#include "chain/StagePlanner.h"
#include "filters/EffectFactoryBoost.h"
#include "filters/EffectFactoryEqualizer.h"
#include "filters/EffectFactoryMaximizer.h"
#include "filters/EffectFactoryStep.h"
#include "memory/MemoryMgr.h"

#include <utility>

namespace tovix {
namespace {

bool appendAll(StagePlanner& planner, FilterList filters) {
    for (auto& filter : filters) {
        if (!planner.append(std::move(filter))) {
            return false;
        }
    }
    return true;
}

} // namespace

std::vector<std::unique_ptr<IFilterFactory>> makeFilterFactories() {
    std::vector<std::unique_ptr<IFilterFactory>> factories;
    factories.push_back(std::make_unique<EffectFactoryStep>());
    factories.push_back(std::make_unique<EffectFactoryBoost>());
    factories.push_back(std::make_unique<EffectFactoryEqualizer>());
    factories.push_back(std::make_unique<EffectFactoryMaximizer>());
    return factories;
}

ChainBuilder::ChainBuilder(AnsiDecoder decodeAnsi) : m_factories(makeFilterFactories()), m_decodeAnsi(decodeAnsi) {}

void ChainBuilder::configure(const StreamFormat& format, const GateSwitches& switches) {
    m_format = format;
    for (const auto& factory : m_factories) {
        factory->configure(switches);
    }
}

BuiltChain ChainBuilder::build(std::string_view settingsPage) noexcept {
    BuiltChain built;
    const std::uint32_t refusedBefore = refusedAllocations();
    const bool streams = m_format.maxFrames != 0 && m_format.inputChannels != 0 && m_format.outputChannels != 0;
    try {
        StagePlanner planner(m_format);
        // Read in any case: what the text says about the previous effect does not depend on the format.
        const bool collected = collectStages(planner, settingsPage, built.previousEffect);
        // Without memory a factory leaves its filter out, or a filter stays inert. Neither is what the settings ask
        // for.
        if (collected && streams && refusedAllocations() == refusedBefore) {
            built.chain = FilterChain::make(planner.shape(), planner.stages());
        }
    } catch (...) {
        built.chain = nullptr;
    }
    return built;
}

bool ChainBuilder::collectStages(StagePlanner& planner, std::string_view settingsPage,
                                 std::optional<bool>& previousEffect) {
    for (const auto& factory : m_factories) {
        if (!appendAll(planner, factory->beginBuild())) {
            return false;
        }
    }
    for (const auto bytes : splitSettingsLines(settingsPage)) {
        const std::wstring text = decodeSettingsLine(bytes, m_decodeAnsi);
        auto line = parseSettingsLine(text);
        if (!line) {
            continue;
        }
        if (const auto setting = previousEffectSetting(*line)) {
            previousEffect = setting;
        } else if (!appendAll(planner, offer(*line, text))) {
            return false;
        }
    }
    for (const auto& factory : m_factories) {
        if (!appendAll(planner, factory->endBuild())) {
            return false;
        }
    }
    return true;
}

FilterList ChainBuilder::offer(SettingsLine& line, const std::wstring& text) {
    for (const auto& factory : m_factories) {
        auto filters = factory->createFilter(line.key, line.value, text);
        if (!filters.empty()) {
            return filters;
        }
    }
    return {};
}

} // namespace tovix
