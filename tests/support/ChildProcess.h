#pragma once

#include "helpers/WinHandles.h"

#include <filesystem>
#include <map>
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
        /// Set in the child's environment, on top of this process's.
        std::map<std::wstring, std::wstring> environment = {};
    };

    explicit ChildProcess(const Start& start);
    ~ChildProcess() { finish(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Sends one line and answers the one line that comes back; empty when the child has ended.
    std::string ask(const std::string& line);

    /// Closes the child's input, waits for its end and answers its exit code; 0xFFFFFFFF when it had to be ended.
    DWORD finish();

    /// What the child has written and nobody has read, up to its end.
    std::string rest();

    /// Borrowed; null once it has been waited for.
    [[nodiscard]] HANDLE process() const { return m_process.get(); }

private:
    std::string readLine();

    KernelHandle m_process;
    KernelHandle m_input;
    KernelHandle m_output;
    DWORD m_exitCode = 0xFFFFFFFF;
};

/// The folder of this test program.
std::filesystem::path programFolder();

/// A fresh folder that is removed with the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

} // namespace tovix::test
