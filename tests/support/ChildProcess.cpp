#include "ChildProcess.h"

#include <array>
#include <stdexcept>
#include <vector>

namespace tovix::test {
namespace {

struct Pipe {
    KernelHandle ours;
    KernelHandle childs;
};

enum class Direction { ToChild, FromChild };

Pipe makePipe(Direction direction) {
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE hRead = nullptr;
    HANDLE hWrite = nullptr;
    if (::CreatePipe(&hRead, &hWrite, &inherited, 0) == FALSE) {
        throw std::runtime_error("no pipe");
    }
    Pipe pipe{KernelHandle(direction == Direction::ToChild ? hWrite : hRead),
              KernelHandle(direction == Direction::ToChild ? hRead : hWrite)};
    ::SetHandleInformation(pipe.ours.get(), HANDLE_FLAG_INHERIT, 0);
    return pipe;
}

/// This process's environment with `changes`, as one block of "NAME=value" texts.
std::wstring environmentBlock(const std::map<std::wstring, std::wstring>& changes) {
    std::wstring block;
    wchar_t* const pStrings = ::GetEnvironmentStringsW();
    for (const wchar_t* p = pStrings; *p != L'\0'; p += std::wcslen(p) + 1) {
        const std::wstring entry(p);
        std::wstring name = entry.substr(0, entry.find(L'=', 1));
        for (wchar_t& c : name) {
            c = static_cast<wchar_t>(::towupper(c));
        }
        if (changes.count(name) == 0) {
            block += entry + L'\0';
        }
    }
    ::FreeEnvironmentStringsW(pStrings);
    for (const auto& [name, value] : changes) {
        block += name + L"=" + value + L'\0';
    }
    return block + L'\0';
}

} // namespace

ChildProcess::ChildProcess(const Start& start) {
    Pipe input = makePipe(Direction::ToChild);
    Pipe output = makePipe(Direction::FromChild);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.childs.get();
    startup.hStdOutput = output.childs.get();
    startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
    std::wstring commandLine = L"\"" + start.program.wstring() + L"\" " + start.arguments;
    std::wstring environment = environmentBlock(start.environment);
    PROCESS_INFORMATION process{};
    if (::CreateProcessW(start.program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                         CREATE_UNICODE_ENVIRONMENT, environment.data(), start.folder.c_str(), &startup,
                         &process) == FALSE) {
        throw std::runtime_error("cannot start " + start.program.string() + ", error " +
                                 std::to_string(::GetLastError()));
    }
    const KernelHandle thread(process.hThread);
    m_process.reset(process.hProcess);
    m_input = std::move(input.ours);
    m_output = std::move(output.ours);
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

TemporaryFolder::TemporaryFolder() {
    static int count = 0;
    m_path = std::filesystem::temp_directory_path() /
             ("tovix-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++count));
    std::filesystem::create_directories(m_path);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

} // namespace tovix::test
