#include "keep/BackgroundProgram.h"

#include "host/SystemQueries.h"
#include "keep/KeepRefusal.h"
#include "system/WinHandles.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <vector>

namespace tovix::keep {
namespace {

/// The last that a program writes before it lets go; no text has it.
constexpr char goesOn = '\0';

struct Pipe {
    KernelHandle reading;
    KernelHandle writing;
};

[[noreturn]] void refuse() {
    const DWORD error = ::GetLastError();
    throw KeepRefusal(Obstacle::processRefused,
                      "The program cannot be started in the background: " + describeSystemError(error) + ".");
}

/// Only the writing end can be inherited.
Pipe makePipe() {
    HANDLE hRead = nullptr;
    HANDLE hWrite = nullptr;
    if (::CreatePipe(&hRead, &hWrite, nullptr, 0) == FALSE) {
        refuse();
    }
    Pipe pipe{KernelHandle(hRead), KernelHandle(hWrite)};
    ::SetHandleInformation(hWrite, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    return pipe;
}

/// A list with one entry: the handles that a new process inherits. Without it, all that can be inherited are, and
/// whoever reads a pipe of the starter's waits for the end of the background program.
class InheritedHandles {
public:
    explicit InheritedHandles(std::vector<HANDLE> handles) : m_handles(std::move(handles)) {
        SIZE_T sizeBytes = 0;
        ::InitializeProcThreadAttributeList(nullptr, 1, 0, &sizeBytes);
        m_storage.resize(sizeBytes);
        if (::InitializeProcThreadAttributeList(list(), 1, 0, &sizeBytes) == FALSE ||
            ::UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, m_handles.data(),
                                        m_handles.size() * sizeof(HANDLE), nullptr, nullptr) == FALSE) {
            refuse();
        }
    }
    ~InheritedHandles() { ::DeleteProcThreadAttributeList(list()); }
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST list() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_storage.data()); }

private:
    std::vector<HANDLE> m_handles;
    std::vector<char> m_storage;
};

KernelHandle start(const std::wstring& arguments, HANDLE hOutput, HANDLE hErrors) {
    const std::wstring path = ownProgramPath();
    std::wstring commandLine = L"\"" + path + L"\" " + arguments;
    std::array<wchar_t, MAX_PATH> folder{};
    ::GetSystemDirectoryW(folder.data(), MAX_PATH);
    InheritedHandles inherited({hOutput, hErrors});
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdOutput = hOutput;
    startup.StartupInfo.hStdError = hErrors;
    startup.lpAttributeList = inherited.list();
    PROCESS_INFORMATION process{};
    if (::CreateProcessW(path.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                         CREATE_NO_WINDOW | CREATE_NEW_PROCESS_GROUP | EXTENDED_STARTUPINFO_PRESENT, nullptr,
                         folder.data(), &startup.StartupInfo, &process) == FALSE) {
        refuse();
    }
    const KernelHandle thread(process.hThread);
    return KernelHandle(process.hProcess);
}

/// Takes what comes up to a mark that its writer goes on, or to its end; true for the mark. Nobody waits for the end
/// of one that goes on: what it has started may hold the pipe too.
bool readStart(HANDLE hPipe, std::string& text) {
    char c = 0;
    DWORD count = 0;
    while (::ReadFile(hPipe, &c, 1, &count, nullptr) != FALSE && count == 1 && c != goesOn) {
        text += c;
    }
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return count == 1 && c == goesOn;
}

/// A console that Windows has opened for this program alone, as it does for an autostart entry, shows nothing.
void hideOwnConsole() {
    DWORD process = 0;
    if (::GetConsoleProcessList(&process, 1) == 1) {
        ::ShowWindow(::GetConsoleWindow(), SW_HIDE);
    }
}

} // namespace

BackgroundStart startInBackground(const std::wstring& arguments) {
    hideOwnConsole();
    Pipe output = makePipe();
    Pipe errors = makePipe();
    const KernelHandle process = start(arguments, output.writing.get(), errors.writing.get());
    output.writing.reset();
    errors.writing.reset();
    BackgroundStart started;
    // One after the other: a few sentences find room in a pipe.
    const bool isUp = readStart(output.reading.get(), started.output);
    readStart(errors.reading.get(), started.errors);
    if (isUp) {
        return started;
    }
    DWORD status = 1;
    ::WaitForSingleObject(process.get(), INFINITE);
    ::GetExitCodeProcess(process.get(), &status);
    started.status = static_cast<int>(status);
    return started;
}

void letStarterGo() {
    std::cout << goesOn << std::flush;
    std::cerr << goesOn << std::flush;
    // Nobody reads what comes after.
    static_cast<void>(std::freopen("NUL", "w", stdout));
    static_cast<void>(std::freopen("NUL", "w", stderr));
}

} // namespace tovix::keep
