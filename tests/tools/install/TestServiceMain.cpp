// A service of the tests. Its first argument says how it behaves, the second names the file in which it writes down
// that it has started ("+") and stopped ("-"), the third is the mark it puts there. It ends in any case when the
// event "Global\TovixTestService-MARK" is set.

#include <windows.h>

#include <fstream>
#include <string>

namespace {

struct Service {
    std::string behaviour;
    std::string file;
    std::string mark;
    std::string library;
    SERVICE_STATUS_HANDLE status = nullptr;
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
    std::ofstream(service.file, std::ios::app) << "+" << service.mark;
    const bool isLoaded = service.library.empty() || ::LoadLibraryA(service.library.c_str()) != nullptr;
    tell(isLoaded ? SERVICE_RUNNING : SERVICE_STOPPED);
    ::WaitForSingleObject(service.stopped, INFINITE);
    std::ofstream(service.file, std::ios::app) << "-" << service.mark;
    tell(SERVICE_STOPPED);
}

} // namespace

int main(int argc, char** argv) {
    service = {.behaviour = argv[1], .file = argv[2], .mark = argv[3], .library = argc > 4 ? argv[4] : ""};
    service.stopped = ::CreateEventA(nullptr, TRUE, FALSE, ("Global\\TovixTestService-" + service.mark).c_str());
    ::ResetEvent(service.stopped);
    std::wstring noName;
    const SERVICE_TABLE_ENTRYW table[] = {{noName.data(), serve}, {nullptr, nullptr}};
    return ::StartServiceCtrlDispatcherW(table) != FALSE ? 0 : 1;
}
