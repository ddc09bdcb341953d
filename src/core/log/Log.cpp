#include "log/Log.h"

#include <atomic>

namespace tovix {
namespace {

std::atomic<LogLevel> currentLevel{LogLevel::None};

LogBackend currentBackend{
    [](const char*) noexcept {},
    []() noexcept { return std::uint32_t{0}; },
};

} // namespace

void installLogBackend(const LogBackend& backend) noexcept {
    currentBackend = backend;
}

LogBackend logBackend() noexcept {
    return currentBackend;
}

// Release and acquire, so that a thread that sees a level also sees the backend installed before it.
LogLevel logLevel() noexcept {
    return currentLevel.load(std::memory_order_acquire);
}

void setLogLevel(LogLevel level) noexcept {
    currentLevel.store(level, std::memory_order_release);
}

LogLine FunctionLog::begin(LogLevel level, const LogText& text) const noexcept {
    LogLine line({level, logBackend().threadId(), m_pObject, m_function, m_source, text.line});
    line.text(text.text);
    return line;
}

} // namespace tovix
