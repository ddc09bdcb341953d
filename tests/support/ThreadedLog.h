#pragma once

#include "log/Log.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tovix::test {

/// Collects the log's lines, from any thread, while it lives; the message alone, after "LEVEL Class::Method: ".
/// `onLine` is called for each of them on the thread that logs.
class ThreadedLog {
public:
    explicit ThreadedLog(std::function<void(const std::string&)> onLine = nullptr)
        : m_levelBefore(logLevel()), m_backendBefore(logBackend()) {
        state().lines.clear();
        state().onLine = std::move(onLine);
        installLogBackend({&take, []() noexcept { return std::uint32_t{1}; }});
        setLogLevel(LogLevel::Info);
    }
    ~ThreadedLog() {
        setLogLevel(m_levelBefore);
        installLogBackend(m_backendBefore);
    }
    ThreadedLog(const ThreadedLog&) = delete;
    ThreadedLog& operator=(const ThreadedLog&) = delete;

    [[nodiscard]] static std::vector<std::string> lines() {
        const std::lock_guard guard(state().lock);
        return state().lines;
    }

    [[nodiscard]] static bool has(const std::string& line) {
        const auto all = lines();
        return std::find(all.begin(), all.end(), line) != all.end();
    }

private:
    struct State {
        std::mutex lock;
        std::vector<std::string> lines;
        std::function<void(const std::string&)> onLine;
    };

    static State& state() {
        static State instance;
        return instance;
    }

    static void take(const char* line) noexcept {
        const std::string whole(line);
        const auto place = whole.find("] [", whole.find("[this=")) + 3;
        const auto at = whole.find('@', place);
        const auto message = whole.find("] ", at) + 2;
        const std::string brief =
            whole.substr(0, whole.find(' ')) + " " + whole.substr(place, at - place) + ": " + whole.substr(message);
        {
            const std::lock_guard guard(state().lock);
            state().lines.push_back(brief);
        }
        if (state().onLine) {
            state().onLine(brief);
        }
    }

    LogLevel m_levelBefore;
    LogBackend m_backendBefore;
};

} // namespace tovix::test
