#include "support/ChildProcess.h"

#include <array>
#include <stdexcept>

namespace tovix::test {
namespace {

struct Pipe {
    KernelHandle reading;
    KernelHandle writing;
};

/// Both ends are inherited by processes that are started.
Pipe makePipe() {
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE hRead = nullptr;
    HANDLE hWrite = nullptr;
    if (::CreatePipe(&hRead, &hWrite, &inherited, 0) == FALSE) {
        throw std::runtime_error("no pipe");
    }
    return {KernelHandle(hRead), KernelHandle(hWrite)};
}

} // namespace

ChildProcess::ChildProcess(const Start& start) {
    Pipe input = makePipe();
    Pipe output = makePipe();
    ::SetHandleInformation(input.writing.get(), HANDLE_FLAG_INHERIT, 0);
    ::SetHandleInformation(output.reading.get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.reading.get();
    startup.hStdOutput = output.writing.get();
    startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
    std::wstring commandLine = L"\"" + start.program.wstring() + L"\" " + start.arguments;
    PROCESS_INFORMATION process{};
    const auto create = [&] {
        return ::CreateProcessAsUserW(start.hToken, start.program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                                      0, nullptr, start.folder.c_str(), &startup, &process) != FALSE;
    };
    // Wine on a busy machine has failed so for a moment.
    const bool created = create() || (::GetLastError() == ERROR_INTERNAL_ERROR && (::Sleep(1000), create()));
    if (!created) {
        throw std::runtime_error("cannot start " + start.program.string() + ", error " +
                                 std::to_string(::GetLastError()));
    }
    const KernelHandle thread(process.hThread);
    m_process.reset(process.hProcess);
    m_input = std::move(input.writing);
    m_output = std::move(output.reading);
}

std::string ChildProcess::ask(const std::string& line) {
    const std::string sent = line + "\n";
    DWORD written = 0;
    ::WriteFile(m_input.get(), sent.data(), static_cast<DWORD>(sent.size()), &written, nullptr);
    return readLine();
}

std::string ChildProcess::readLine() {
    std::string line;
    char c = 0;
    DWORD count = 0;
    while (::ReadFile(m_output.get(), &c, 1, &count, nullptr) != FALSE && count == 1 && c != '\n') {
        if (c != '\r') {
            line += c;
        }
    }
    return line;
}

DWORD ChildProcess::finish() {
    if (m_process) {
        m_input.reset();
        if (::WaitForSingleObject(m_process.get(), 10000) == WAIT_OBJECT_0) {
            ::GetExitCodeProcess(m_process.get(), &m_exitCode);
        } else {
            ::TerminateProcess(m_process.get(), 1);
        }
        m_process.reset();
    }
    return m_exitCode;
}

std::string ChildProcess::rest() {
    std::string text;
    for (std::string line = readLine(); !line.empty(); line = readLine()) {
        text += line + "\n";
    }
    return text;
}

std::filesystem::path programFolder() {
    std::array<wchar_t, MAX_PATH> path{};
    ::GetModuleFileNameW(nullptr, path.data(), MAX_PATH);
    return std::filesystem::path(path.data()).parent_path();
}

} // namespace tovix::test
