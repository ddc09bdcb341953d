// A service of the tests. Its first argument says how it behaves, the second names the file in which it writes down
// that it has started ("+") and stopped ("-"), the third is the mark it puts there. It ends in any case when the
// event "Global\TovixTestService-MARK" is set.

#include <windows.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

struct Service {
    std::string behaviour;
    std::string file;
    std::string mark;
    SERVICE_STATUS_HANDLE status = nullptr;
    std::string library;
    HANDLE stopped = nullptr;
} service;

void tell(DWORD state, DWORD exitCode = NO_ERROR) {
    SERVICE_STATUS status{};
    status.dwWin32ExitCode = exitCode;
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = SERVICE_ACCEPT_STOP;
    ::SetServiceStatus(service.status, &status);
}

DWORD WINAPI obey(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_STOP) {
        tell(SERVICE_STOP_PENDING);
        if (service.behaviour != "hangs-at-stop") {
            ::SetEvent(service.stopped);
        }
    }
    return NO_ERROR;
}

void WINAPI serve(DWORD, LPWSTR*) {
    service.status = ::RegisterServiceCtrlHandlerExW(L"", obey, nullptr);
    tell(SERVICE_START_PENDING);
    if (service.behaviour == "dies") {
        tell(SERVICE_STOPPED, ERROR_BAD_ENVIRONMENT);
        return;
    }
    if (service.behaviour != "hangs-at-start") {
        std::ofstream(service.file, std::ios::app) << "+" << service.mark;
        const bool isLoaded = !service.library.empty() && ::LoadLibraryA(service.library.c_str()) != nullptr;
        tell(service.library.empty() || isLoaded ? SERVICE_RUNNING : SERVICE_STOPPED);
    }
    ::WaitForSingleObject(service.stopped, INFINITE);
    std::ofstream(service.file, std::ios::app) << "-" << service.mark;
    tell(SERVICE_STOPPED);
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    service.behaviour = arguments.at(0);
    service.file = arguments.at(1);
    service.mark = arguments.at(2);
    service.library = arguments.size() > 3 ? arguments.at(3) : "";
    service.stopped = ::CreateEventA(nullptr, TRUE, FALSE, ("Global\\TovixTestService-" + service.mark).c_str());
    ::ResetEvent(service.stopped);
    std::wstring noName;
    const std::vector<SERVICE_TABLE_ENTRYW> table{{noName.data(), serve}, {nullptr, nullptr}};
    return ::StartServiceCtrlDispatcherW(table.data()) != FALSE ? 0 : 1;
}
