#include "filters/EffectFactoryStep.h"

namespace tovix {

void EffectFactoryStep::configure(const GateSwitches& switches) {
    m_switchA = switches.switchA;
    m_switchB = switches.switchB;
}

FilterList EffectFactoryStep::beginBuild() {
    m_active = !(m_switchA && m_switchB);
    m_savedStates.clear();
    return {};
}

FilterList EffectFactoryStep::saveState() {
    m_savedStates.push_back(m_active);
    return {};
}

FilterList EffectFactoryStep::createFilter(std::wstring& name, const std::wstring&, const std::wstring&) {
    if (!m_active) {
        name.clear();
    }
    return {};
}

FilterList EffectFactoryStep::restoreState() {
    if (!m_savedStates.empty()) {
        m_active = m_savedStates.back();
        m_savedStates.pop_back();
    }
    return {};
}

} // namespace tovix
