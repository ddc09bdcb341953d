#pragma once

#include <stdexcept>
#include <string>

namespace tovix::control {

/// What tovixctl answers to its caller. The numbers are part of its interface: scripts test them.
enum class ExitStatus : int {
    done = 0,
    /// Something that should not happen.
    failed = 1,
    /// The command line does not parse.
    usage = 2,
    /// What was asked for breaks a rule of the settings text, or does not fit into it.
    refused = 3,
    /// The shared block can be neither opened nor created.
    noBlock = 4,
    /// The registry value cannot be written.
    noRegistry = 5,
    /// The curve file cannot be read.
    noFile = 6,
};

/// A command that is not carried out. `what()` is one English sentence for the user, UTF-8.
class Refusal : public std::runtime_error {
public:
    explicit Refusal(const std::string& sentence, ExitStatus status = ExitStatus::refused)
        : std::runtime_error(sentence), m_status(status) {}

    [[nodiscard]] ExitStatus status() const noexcept { return m_status; }

private:
    ExitStatus m_status;
};

} // namespace tovix::control
