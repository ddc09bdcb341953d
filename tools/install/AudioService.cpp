#include "install/AudioService.h"

#include "host/SystemQueries.h"
#include "text/Utf.h"

#include <memory>
#include <optional>
#include <utility>

namespace tovix::install {
namespace {

struct CloseService {
    using pointer = SC_HANDLE;
    void operator()(SC_HANDLE handle) const noexcept { ::CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<SC_HANDLE__, CloseService>;

std::string quoted(const std::wstring& name) {
    return "The service \"" + encodeUtf8(name) + "\"";
}

/// `what` is such as "cannot be stopped".
[[noreturn]] void refuse(const std::wstring& name, const char* what, DWORD error) {
    if (error == ERROR_ACCESS_DENIED) {
        throw InstallRefusal(Obstacle::notElevated, quoted(name) + " " + what + ", which takes an administrator.");
    }
    throw InstallRefusal(Obstacle::audioService, quoted(name) + " " + what + ": " + describeSystemError(error) + ".");
}

ServiceHandle openService(const std::wstring& name, DWORD access) {
    const ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    ServiceHandle service(manager ? ::OpenServiceW(manager.get(), name.c_str(), access) : nullptr);
    if (!service) {
        refuse(name, "cannot be reached", ::GetLastError());
    }
    return service;
}

/// The state and, where it has ended, what it ended with.
struct ServiceState {
    DWORD state = 0;
    DWORD exitCode = 0;
};

ServiceState stateOf(SC_HANDLE hService, const std::wstring& name) {
    SERVICE_STATUS_PROCESS status{};
    DWORD bytes = 0;
    if (::QueryServiceStatusEx(hService, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                               &bytes) == FALSE) {
        refuse(name, "does not tell its state", ::GetLastError());
    }
    return {status.dwCurrentState, status.dwWin32ExitCode};
}

const char* stateName(DWORD state) noexcept {
    switch (state) {
    case SERVICE_STOPPED:
        return "stopped";
    case SERVICE_START_PENDING:
        return "still starting";
    case SERVICE_STOP_PENDING:
        return "still stopping";
    case SERVICE_RUNNING:
        return "running";
    default:
        return "paused";
    }
}

/// The first state that `isReached`, or the last one within the limit.
ServiceState await(SC_HANDLE hService, const std::wstring& name, DWORD limitMs, bool (*isReached)(DWORD state)) {
    constexpr DWORD periodMs = 50;
    const ULONGLONG startMs = ::GetTickCount64();
    ServiceState state = stateOf(hService, name);
    while (!isReached(state.state) && ::GetTickCount64() - startMs < limitMs) {
        ::Sleep(periodMs);
        state = stateOf(hService, name);
    }
    return state;
}

bool isSettled(DWORD state) {
    return state == SERVICE_STOPPED || state == SERVICE_RUNNING || state == SERVICE_PAUSED;
}

bool isStopped(DWORD state) {
    return state == SERVICE_STOPPED;
}

[[noreturn]] void refuseState(const std::wstring& name, const char* what, DWORD state, DWORD limitMs) {
    constexpr DWORD msPerSecond = 1000;
    throw InstallRefusal(Obstacle::audioService, quoted(name) + " " + what + ": after " +
                                                     std::to_string(limitMs / msPerSecond) + " s it is " +
                                                     stateName(state) + ".");
}

} // namespace

std::vector<std::wstring> runningDependents(SC_HANDLE hService) {
    DWORD bytes = 0;
    DWORD count = 0;
    std::vector<ENUM_SERVICE_STATUSW> services;
    while (::EnumDependentServicesW(hService, SERVICE_ACTIVE, services.data(),
                                    static_cast<DWORD>(services.size() * sizeof(ENUM_SERVICE_STATUSW)), &bytes,
                                    &count) == FALSE) {
        if (const DWORD error = ::GetLastError(); error != ERROR_MORE_DATA) {
            throw InstallRefusal(Obstacle::audioService, "What depends on the audio service cannot be found out: " +
                                                             describeSystemError(error) + ".");
        }
        // The texts stand behind the entries, so that the size is no multiple of an entry's.
        services.resize(bytes / sizeof(ENUM_SERVICE_STATUSW) + 1);
    }
    std::vector<std::wstring> names;
    for (DWORD i = 0; i < count; ++i) {
        names.emplace_back(services[i].lpServiceName);
    }
    return names;
}

AudioService::AudioService(std::wstring name, DWORD limitMs, DependentServices dependents)
    : m_name(std::move(name)), m_limitMs(limitMs), m_dependents(std::move(dependents)) {}

void AudioService::stop() {
    try {
        const ServiceHandle service = openService(m_name, SERVICE_ENUMERATE_DEPENDENTS);
        for (const auto& dependent : m_dependents(service.get())) {
            stopOne(dependent);
        }
        stopOne(m_name);
        // Whoever wants a restart wants it running, also where an interrupted command has left it stopped.
        if (m_stopped.empty() || m_stopped.back() != m_name) {
            m_stopped.push_back(m_name);
        }
    } catch (const InstallRefusal& refusal) {
        startAfter(refusal);
    }
}

void AudioService::startAfter(const InstallRefusal& refusal) {
    std::string sentence = refusal.what();
    try {
        start();
    } catch (const InstallRefusal& another) {
        sentence += std::string(" ") + another.what();
    }
    throw InstallRefusal(refusal.status(), sentence);
}

void AudioService::stopOne(const std::wstring& name) {
    const ServiceHandle service = openService(name, SERVICE_STOP | SERVICE_QUERY_STATUS);
    // One that is on its way somewhere takes no orders.
    if (isStopped(await(service.get(), name, m_limitMs, isSettled).state)) {
        return;
    }
    SERVICE_STATUS ignored{};
    if (::ControlService(service.get(), SERVICE_CONTROL_STOP, &ignored) == FALSE) {
        const DWORD error = ::GetLastError();
        if (error == ERROR_SERVICE_NOT_ACTIVE) {
            return;
        }
        refuse(name, "cannot be stopped", error);
    }
    m_stopped.push_back(name); // it may yet stop after the limit
    if (const auto reached = await(service.get(), name, m_limitMs, isStopped); !isStopped(reached.state)) {
        refuseState(name, "does not stop", reached.state, m_limitMs);
    }
}

void AudioService::start() {
    std::optional<InstallRefusal> first;
    for (; !m_stopped.empty(); m_stopped.pop_back()) {
        try {
            startOne(m_stopped.back());
        } catch (const InstallRefusal& refusal) {
            first = first ? first : refusal;
        }
    }
    if (first) {
        throw InstallRefusal(*first);
    }
}

void AudioService::startOne(const std::wstring& name) const {
    const ServiceHandle service = openService(name, SERVICE_START | SERVICE_QUERY_STATUS);
    const auto stopped =
        await(service.get(), name, m_limitMs, [](DWORD state) { return state != SERVICE_STOP_PENDING; });
    if (stopped.state == SERVICE_STOP_PENDING) {
        refuseState(name, "does not come back", stopped.state, m_limitMs);
    }
    if (::StartServiceW(service.get(), 0, nullptr) == FALSE) {
        if (const DWORD error = ::GetLastError(); error != ERROR_SERVICE_ALREADY_RUNNING) {
            refuse(name, "does not come back", error);
        }
    }
    const auto reached = await(service.get(), name, m_limitMs, isSettled);
    if (isStopped(reached.state)) {
        throw InstallRefusal(Obstacle::audioService, quoted(name) +
                                                         " does not come back: it has ended at once (code " +
                                                         std::to_string(reached.exitCode) + ").");
    }
    if (reached.state != SERVICE_RUNNING) {
        refuseState(name, "does not come back", reached.state, m_limitMs);
    }
}

void AudioService::restartAround(const std::function<void()>& change) {
    stop();
    try {
        change();
    } catch (const InstallRefusal& refusal) {
        startAfter(refusal);
    } catch (...) {
        start();
        throw;
    }
    start();
}

} // namespace tovix::install
