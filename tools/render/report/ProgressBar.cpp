#include "render/report/ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <string>

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#define fileno _fileno
#else
#include <unistd.h>
#endif

namespace tovix::render {
namespace {

constexpr std::size_t barWidth = 50;

} // namespace

ProgressBar::ProgressBar(bool wanted, std::uint64_t total)
    : m_enabled(wanted && total > 0 && isatty(fileno(stderr)) != 0), m_total(total),
      m_nextDraw(Clock::now() + std::chrono::milliseconds(500)) {}

ProgressBar::~ProgressBar() {
    if (m_visible) {
        std::fprintf(stderr, "\r%*s\r", static_cast<int>(barWidth + 10), "");
    }
}

void ProgressBar::show(std::uint64_t done) {
    if (!m_enabled || Clock::now() < m_nextDraw) {
        return;
    }
    const double part = std::min(1.0, static_cast<double>(done) / static_cast<double>(m_total));
    const auto filled = static_cast<std::size_t>(part * barWidth);
    const std::string bar = std::string(filled, '#') + std::string(barWidth - filled, '.');
    std::fprintf(stderr, "\r[%s] %3.0f %%", bar.c_str(), part * 100.0);
    std::fflush(stderr);
    m_visible = true;
    m_nextDraw = Clock::now() + std::chrono::milliseconds(100);
}

} // namespace tovix::render
