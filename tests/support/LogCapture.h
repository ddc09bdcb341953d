#pragma once

#include "log/Log.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tovix::test {

/// Collects the log's lines, from any thread, while it lives; every thread is number 7. `onLine` is called for each
/// of them on the thread that logs.
class LogCapture {
public:
    explicit LogCapture(LogLevel level, std::function<void(const std::string&)> onLine = nullptr)
        : m_levelBefore(logLevel()), m_backendBefore(logBackend()) {
        state.lines.clear();
        state.onLine = std::move(onLine);
        installLogBackend({&take, []() noexcept { return std::uint32_t{7}; }});
        setLogLevel(level);
    }
    ~LogCapture() {
        setLogLevel(m_levelBefore);
        installLogBackend(m_backendBefore);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static std::vector<std::string> lines() {
        const std::lock_guard guard(state.lock);
        return state.lines;
    }

private:
    struct State {
        std::mutex lock;
        std::vector<std::string> lines;
        std::function<void(const std::string&)> onLine;
    };

    static inline State state;

    static void take(const char* line) noexcept {
        {
            const std::lock_guard guard(state.lock);
            state.lines.emplace_back(line);
        }
        if (state.onLine) {
            state.onLine(line);
        }
    }

    LogLevel m_levelBefore;
    LogBackend m_backendBefore;
};

/// The log's lines in brief: "LEVEL Class::Method: message".
class BriefLog : public LogCapture {
public:
    explicit BriefLog(std::function<void(const std::string&)> onLine = nullptr)
        : LogCapture(LogLevel::Info, std::move(onLine)) {}

    [[nodiscard]] static std::vector<std::string> lines() {
        auto all = LogCapture::lines();
        std::transform(all.begin(), all.end(), all.begin(), &inBrief);
        return all;
    }

    [[nodiscard]] static bool has(const std::string& line) {
        const auto all = lines();
        return std::find(all.begin(), all.end(), line) != all.end();
    }

private:
    static std::string inBrief(const std::string& line) {
        const auto place = line.find("] [", line.find("[this=")) + 3;
        const auto at = line.find('@', place);
        const auto message = line.find("] ", at) + 2;
        return line.substr(0, line.find(' ')) + " " + line.substr(place, at - place) + ": " + line.substr(message);
    }
};

} // namespace tovix::test
