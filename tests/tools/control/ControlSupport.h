#pragma once

#include "support/ChildProcess.h"
#include "text/Limits.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

/// tovixctl as a process, and the settings page as a test sees it.
namespace tovix::test {

inline constexpr const wchar_t* pageName = L"Global\\TovixConfigData";

/// What a run of tovixctl gave.
struct Outcome {
    DWORD exitStatus;
    std::string output;
};

inline Outcome control(const std::wstring& arguments, HANDLE hToken = nullptr,
                       const std::filesystem::path& folder = programFolder()) {
    ChildProcess program({.program = folder / "tovixctl.exe", .arguments = arguments, .hToken = hToken});
    std::string output = program.rest();
    return {program.finish(), output};
}

/// Runs tovixctl with each of the arguments, which are listed by the status that it has to exit with.
inline void expectExitStatuses(std::initializer_list<std::pair<DWORD, std::vector<const wchar_t*>>> cases) {
    for (const auto& [exitStatus, commands] : cases) {
        for (const auto* const arguments : commands) {
            EXPECT_EQ(control(arguments).exitStatus, exitStatus) << std::filesystem::path(arguments);
        }
    }
}

/// A tovixctl that stays until the object ends it, as Ctrl-C would.
class HeldProgram {
public:
    explicit HeldProgram(const std::wstring& arguments) : m_program({programFolder() / "tovixctl.exe", arguments}) {}
    ~HeldProgram() { ::TerminateProcess(m_program.process(), 0); }

    /// Waits for a line with `text`; false once the program has ended without one.
    [[nodiscard]] bool says(const std::string& text) {
        std::string line = m_program.readLine();
        while (!line.empty() && line.find(text) == std::string::npos) {
            line = m_program.readLine();
        }
        return !line.empty();
    }

private:
    ChildProcess m_program;
};

/// The settings text; empty while nobody has the page open.
inline std::string pageText() {
    const KernelHandle mapping(::OpenFileMappingW(FILE_MAP_READ, FALSE, pageName));
    const MappedView<char> view(
        static_cast<char*>(::MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, settingsPageBytes)));
    return view ? std::string(view.get(), ::strnlen(view.get(), settingsPageBytes)) : "";
}

/// Takes the settings page's name with an object of another kind, so that nobody can open or create the page.
inline KernelHandle occupyPageName() {
    return KernelHandle(::CreateSemaphoreW(nullptr, 0, 1, pageName));
}

} // namespace tovix::test
