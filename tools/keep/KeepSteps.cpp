#include "keep/KeepSteps.h"

#include "text/SettingsNames.h"

#include <algorithm>

namespace tovix::keep {

namespace {

bool isEffectsOwn(std::string_view page) {
    const std::string boost = settings::offMark + std::string(settings::boost.narrow()) + ": 0 dB 0\n";
    const std::string previousEffect = std::string(settings::enableOldApo.narrow()) + ":";
    // What releases the effects that wait puts line ends behind it.
    const auto text = page.substr(0, page.find_last_not_of('\n') + 1);
    return text == boost + previousEffect || text == boost + settings::offMark + previousEffect;
}

} // namespace

bool KeepSteps::isUnset(std::string_view page) {
    return page.find_first_not_of('\n') == std::string_view::npos || isEffectsOwn(page);
}

bool KeepSteps::wantsLast(std::string_view page, Time now) const {
    return !isUnset(m_onDisk) && (m_looked ? now < m_lateUntil && isEffectsOwn(page) : isUnset(page));
}

KeepSteps::Step KeepSteps::look(std::string_view page, Time now) {
    if (wantsLast(page, now)) {
        return Step::bringBack;
    }
    if (!m_looked || page != m_seen) {
        m_owedSince = !m_looked || m_seen == m_onDisk ? now : m_owedSince;
        m_restsSince = now;
        m_seen = page;
        m_looked = true;
    }
    const bool isDue = now - m_restsSince >= rest || now - m_owedSince >= longestDelay;
    return m_seen != m_onDisk && isDue && now >= m_notBefore ? Step::writeDown : Step::nothing;
}

void KeepSteps::broughtBack(Time now) {
    m_seen = m_onDisk;
    m_looked = true;
    m_lateUntil = now + lateEffects;
}

bool KeepSteps::isOwed(std::string_view page, Time now) const {
    return page != m_onDisk && !wantsLast(page, now);
}

} // namespace tovix::keep
