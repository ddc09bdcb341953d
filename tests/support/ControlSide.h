#pragma once

#include "support/ChildProcess.h"

#include <string>

namespace tovix::test {

/// The other end of the exchange, a second process with default rights. Commands: create-page, open-page,
/// write TEXT (lines parted by "|"), scribble MS, drop, event|signal|occupy WHICH, await WHICH MS, unviewable,
/// open-all.
class ControlSide {
public:
    std::string operator()(const std::string& command) { return m_process.ask(command); }

    /// All bytes of the page.
    static std::string page() {
        const KernelHandle mapping(::OpenFileMappingW(FILE_MAP_READ, FALSE, L"Global\\TovixConfigData"));
        const MappedView<char> view(static_cast<char*>(::MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 256)));
        return {view.get(), 256};
    }

private:
    ChildProcess m_process{{programFolder() / "tovix-control-side.exe", L""}};
};

} // namespace tovix::test
