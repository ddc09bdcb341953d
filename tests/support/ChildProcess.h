#pragma once

#include "support/TemporaryFolder.h"
#include "system/WinHandles.h"

#include <string>

namespace tovix::test {

/// A second process with pipes at its standard input and output. Ends with the object: its input is closed and
/// it is waited for, ten seconds at most, before it is ended.
class ChildProcess {
public:
    struct Start {
        std::filesystem::path program;
        std::wstring arguments;
        std::filesystem::path folder = std::filesystem::current_path();
        /// Borrowed; what the process may do, where that is not what this one may.
        HANDLE hToken = nullptr;
    };

    explicit ChildProcess(const Start& start);
    ~ChildProcess() { finish(); }

    /// Sends one line and returns the one line that comes back; empty when the child has ended.
    std::string ask(const std::string& line);

    /// Closes the child's input, waits for its end and returns its exit code; 0xFFFFFFFF when it had to be ended.
    DWORD finish();

    /// The next line of what the child has written; empty at its end.
    std::string readLine();

    /// What the child has written and nobody has read, up to its end.
    std::string rest();

    /// Borrowed; null once it has been waited for.
    [[nodiscard]] HANDLE process() const { return m_process.get(); }

private:
    KernelHandle m_process;
    KernelHandle m_input;
    KernelHandle m_output;
    DWORD m_exitCode = 0xFFFFFFFF;
};

/// The folder of this test program.
std::filesystem::path programFolder();

} // namespace tovix::test
