#pragma once

#include "ChildProcess.h"

#include <string>

namespace tovix::test {

/// The other end of the exchange, a second process with default rights. Commands: create-block, open-block,
/// write TEXT, read, scribble MS, drop, event|signal|occupy WHICH, await WHICH MS, unviewable, open-all.
class ControlSide {
public:
    std::string operator()(const std::string& command) { return m_process.ask(command); }

    /// All bytes of the block as this side sees them.
    std::string block() {
        const std::string hex = m_process.ask("read");
        std::string bytes;
        for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
            bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
        }
        return bytes;
    }

private:
    ChildProcess m_process{{programFolder() / "tovix-control-side.exe", L""}};
};

} // namespace tovix::test
