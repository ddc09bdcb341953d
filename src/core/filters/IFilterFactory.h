#pragma once

#include "filters/IFilter.h"

#include <string>

namespace tovix {

/// The manager's two switches for the settings gate (EffectFactoryStep). With their initial values the gate is open.
struct GateSwitches {
    bool switchA = false;
    bool switchB = true;
};

/// Builds filters from settings lines. All operations are [control], on the thread that builds a chain; the same
/// factory serves any number of builds, one at a time. `saveState` and `restoreState` belong to the contract; the
/// product has no nested sections and calls neither.
class IFilterFactory {
public:
    virtual ~IFilterFactory() = default;

    /// Takes over the manager's switches.
    virtual void configure(const GateSwitches& switches);

    /// The start of a chain build; the filters returned stand before those of any line.
    virtual FilterList beginBuild();

    /// Opens a nested section of the settings text.
    virtual FilterList saveState();

    /// Offers one settings line. The list is empty when the name is not this factory's, when the parameters do
    /// not parse, or when there is no memory. A factory may blank `name` to hide the line from those after it.
    /// `line` is the whole line, for factories that want more than its two halves.
    virtual FilterList createFilter(std::wstring& name, const std::wstring& parameterText,
                                    const std::wstring& line) = 0;

    /// Closes the section that the last `saveState` opened.
    virtual FilterList restoreState();

    /// The end of a chain build; the filters returned stand after those of any line.
    virtual FilterList endBuild();

protected:
    IFilterFactory() = default;
    IFilterFactory(const IFilterFactory&) = default;
    IFilterFactory& operator=(const IFilterFactory&) = default;
};

} // namespace tovix
