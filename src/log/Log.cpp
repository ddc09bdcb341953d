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

LogLevel logLevel() noexcept {
    return currentLevel.load(std::memory_order_relaxed);
}

void setLogLevel(LogLevel level) noexcept {
    currentLevel.store(level, std::memory_order_relaxed);
}

} // namespace tovix
