#pragma once

#include "log/Log.h"

#include <string>
#include <vector>

namespace tovix::test {

/// Collects the log's lines while it lives; the calling thread is number 7.
class LogCapture {
public:
    explicit LogCapture(LogLevel level) : m_levelBefore(logLevel()), m_backendBefore(logBackend()) {
        lines().clear();
        installLogBackend({[](const char* line) noexcept { lines().emplace_back(line); },
                           []() noexcept { return std::uint32_t{7}; }});
        setLogLevel(level);
    }
    ~LogCapture() {
        setLogLevel(m_levelBefore);
        installLogBackend(m_backendBefore);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static std::vector<std::string>& lines() {
        static std::vector<std::string> collected;
        return collected;
    }

private:
    LogLevel m_levelBefore;
    LogBackend m_backendBefore;
};

} // namespace tovix::test
