#pragma once

#include <stdexcept>
#include <string>

namespace tovix::render {

/// How the program ends; printed by --help.
enum class ExitStatus : int {
    success = 0,
    failure = 1,
    usage = 2,
    unreadableInput = 3,
    unsupportedFormat = 4,
    settingsTooLong = 5,
    uselessLine = 6,
    blockSize = 7,
    changeTime = 8,
    unwritableOutput = 9,
    unreadableSettings = 10,
    interrupted = 130,
};

/// Ends the program with one sentence for the user.
class RenderError : public std::runtime_error {
public:
    RenderError(ExitStatus status, const std::string& sentence) : std::runtime_error(sentence), m_status(status) {}
    [[nodiscard]] ExitStatus status() const noexcept { return m_status; }

private:
    ExitStatus m_status;
};

} // namespace tovix::render
