#pragma once

#include "helpers/WinHandles.h"
#include "support/ChildProcess.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace tovix::test {

/// A tovixctl that stays until the object ends it, as Ctrl-C would; what it says goes to a file.
class HeldProgram {
public:
    explicit HeldProgram(const std::wstring& arguments) {
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        const KernelHandle output(::CreateFileW(outputFile().c_str(), GENERIC_WRITE,
                                                FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, CREATE_ALWAYS, 0,
                                                nullptr));
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = output.get();
        startup.hStdError = output.get();
        std::wstring commandLine = L"tovixctl " + arguments;
        PROCESS_INFORMATION process{};
        if (::CreateProcessW((programFolder() / "tovixctl.exe").c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                             0, nullptr, nullptr, &startup, &process) == FALSE) {
            throw std::runtime_error("cannot start tovixctl");
        }
        ::CloseHandle(process.hThread);
        m_process.reset(process.hProcess);
    }
    ~HeldProgram() {
        ::TerminateProcess(m_process.get(), 0);
        ::WaitForSingleObject(m_process.get(), 5000);
    }
    HeldProgram(const HeldProgram&) = delete;
    HeldProgram& operator=(const HeldProgram&) = delete;

    /// Waits, five seconds at most, until it has said `text`.
    [[nodiscard]] bool says(const std::string& text) const {
        for (int i = 0; i < 250; ++i) {
            std::ostringstream said;
            said << std::ifstream(outputFile()).rdbuf();
            if (said.str().find(text) != std::string::npos) {
                return true;
            }
            ::Sleep(20);
        }
        return false;
    }

private:
    [[nodiscard]] std::filesystem::path outputFile() const { return m_folder.path() / "output"; }

    TemporaryFolder m_folder;
    KernelHandle m_process;
};

} // namespace tovix::test
