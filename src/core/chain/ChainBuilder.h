#pragma once

#include "chain/FilterChain.h"
#include "filters/IFilterFactory.h"
#include "stream/StreamFormat.h"
#include "text/SettingsText.h"

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace tovix {

class StagePlanner;

/// What a build gave.
struct BuiltChain {
    /// Null when anything in it was refused memory or the format allows no chain.
    RtPtr<FilterChain> chain;
    /// What the last line about the device's previous effect said, if any did.
    std::optional<bool> previousEffect;
};

/// [control] The filter factories, in the order in which each settings line is offered to them: settings gate, boost,
/// equalizer, maximizer.
std::vector<std::unique_ptr<IFilterFactory>> makeFilterFactories();

/// Turns settings text into filter chains. Owns the filter factories. All [control], one thread at a time.
class ChainBuilder {
public:
    explicit ChainBuilder(AnsiDecoder decodeAnsi);

    /// Takes the format of the chains to come and hands `switches` to every factory.
    void configure(const StreamFormat& format, const GateSwitches& switches);

    /// Builds one chain from the bytes of a settings page. Never throws.
    BuiltChain build(std::string_view settingsPage) noexcept;

private:
    bool collectStages(StagePlanner& planner, std::string_view settingsPage, std::optional<bool>& previousEffect);
    /// Asks the factories in turn; the first that returns filters ends the search.
    FilterList offer(SettingsLine& line, const std::wstring& text);

    std::vector<std::unique_ptr<IFilterFactory>> m_factories;
    AnsiDecoder m_decodeAnsi;
    StreamFormat m_format;
};

} // namespace tovix
