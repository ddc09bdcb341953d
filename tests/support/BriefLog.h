#pragma once

#include "support/LogCapture.h"

#include <algorithm>

namespace tovix::test {

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
