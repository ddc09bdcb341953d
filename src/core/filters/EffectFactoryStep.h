#pragma once

#include "filters/IFilterFactory.h"

#include <deque>

namespace tovix {

/// The settings gate: first of the factories, makes no filter. While it is closed it blanks the name of every line,
/// so that the factories after it build nothing. Both switches on close it at the start of a build. [control]
class EffectFactoryStep final : public IFilterFactory {
public:
    void configure(const GateSwitches& switches) override;
    /// Opens or closes the gate by the switches and forgets what was saved.
    FilterList beginBuild() override;
    /// Remembers the gate.
    FilterList saveState() override;
    FilterList createFilter(std::wstring& name, const std::wstring& parameterText, const std::wstring& line) override;
    /// Brings the gate back as it was last saved; without a saved state it stays as it is.
    FilterList restoreState() override;

private:
    bool m_switchA = false;
    bool m_switchB = false;
    bool m_active = false;
    std::deque<bool> m_savedStates;
};

} // namespace tovix
