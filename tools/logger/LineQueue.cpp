#include "logger/LineQueue.h"

#include <algorithm>
#include <utility>

namespace tovix::logger {

LineQueue::LineQueue() : m_pFilling(std::make_unique<Buffer>()), m_pTaken(std::make_unique<Buffer>()) {}

void LineQueue::push(std::string_view head, std::string_view line) noexcept {
    constexpr std::string_view lineEnd = "\r\n";
    line = line.substr(0, longestLine);
    if (head.size() + line.size() + lineEnd.size() > capacityBytes - m_length) {
        ++m_lost;
        return;
    }
    char* pEnd = std::copy(head.begin(), head.end(), m_pFilling->data() + m_length);
    pEnd = std::transform(line.begin(), line.end(), pEnd,
                          [](char c) { return static_cast<unsigned char>(c) < 0x20 ? ' ' : c; });
    pEnd = std::copy(lineEnd.begin(), lineEnd.end(), pEnd);
    m_length = static_cast<std::size_t>(pEnd - m_pFilling->data());
}

LineQueue::Batch LineQueue::take() noexcept {
    std::swap(m_pFilling, m_pTaken);
    return {{m_pTaken->data(), std::exchange(m_length, 0)}, std::exchange(m_lost, 0)};
}

} // namespace tovix::logger
