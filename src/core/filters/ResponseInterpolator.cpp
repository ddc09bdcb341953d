#include "filters/ResponseInterpolator.h"

#include "filters/Elementary.h"

#include <algorithm>

namespace tovix {

double ResponseInterpolator::gainDb(double frequencyHz) noexcept {
    if (!bracketHolds(frequencyHz)) {
        moveBracket(frequencyHz);
    }
    if (m_pLower == nullptr) {
        return m_pUpper != nullptr ? m_pUpper->gainDb : 0.0;
    }
    if (m_pUpper == nullptr) {
        return m_pLower->gainDb;
    }
    const double t = (naturalLog(frequencyHz) - m_lowerLog) / m_logWidth;
    return m_pLower->gainDb + t * (m_pUpper->gainDb - m_pLower->gainDb);
}

bool ResponseInterpolator::bracketHolds(double frequencyHz) const noexcept {
    const bool cached = m_pLower != nullptr || m_pUpper != nullptr;
    return cached && (m_pLower == nullptr || m_pLower->frequencyHz < frequencyHz) &&
           (m_pUpper == nullptr || frequencyHz <= m_pUpper->frequencyHz);
}

void ResponseInterpolator::moveBracket(double frequencyHz) noexcept {
    const ResponsePoint* const pFirst = m_points.data();
    const ResponsePoint* const pEnd = pFirst + m_points.size();
    const auto isBelow = [frequencyHz](const ResponsePoint& point) { return point.frequencyHz < frequencyHz; };
    const ResponsePoint* pFound = nullptr;
    if (m_pUpper != nullptr && isBelow(*m_pUpper)) {
        pFound = std::find_if_not(m_pUpper, pEnd, isBelow);
    } else {
        pFound = std::partition_point(pFirst, pEnd, isBelow);
    }
    m_pLower = pFound != pFirst ? pFound - 1 : nullptr;
    m_pUpper = pFound != pEnd ? pFound : nullptr;
    if (m_pLower != nullptr && m_pUpper != nullptr) {
        m_lowerLog = naturalLog(m_pLower->frequencyHz);
        m_logWidth = naturalLog(m_pUpper->frequencyHz) - m_lowerLog;
    }
}

} // namespace tovix
