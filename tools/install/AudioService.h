#pragma once

#include "install/InstallRefusal.h"

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace tovix::install {

/// The running services that depend on the one behind a handle, in the order in which they can be stopped. [control]
using DependentServices = std::function<std::vector<std::wstring>(SC_HANDLE)>;

/// [control] As the system's service manager has them; throws InstallRefusal.
std::vector<std::wstring> runningDependents(SC_HANDLE hService);

/// The system service whose engine loads the effect. While it is stopped no file of the effect is in use. [control],
/// one thread at a time; throws InstallRefusal (audioService, notElevated).
class AudioService {
public:
    static constexpr DWORD timeLimitMs = 30'000;

    /// Another name, a shorter time for each service, and other dependents are for tests: Wine knows of none.
    explicit AudioService(std::wstring name = L"Audiosrv", DWORD limitMs = timeLimitMs,
                          DependentServices dependents = runningDependents);

    /// Stops what is running of the services that depend on it and of the service itself, in this order, and waits
    /// for each. Where one does not stop, all of them are started again before the refusal.
    void stop();

    /// Starts the service, running before or not, then what `stop` stopped of the others, and waits for each. The
    /// first that does not come back is named in the refusal; the others are started all the same.
    void start();

    /// Makes a change while the service is stopped. The service is started in any case; the change's own refusal
    /// comes first, with a sentence on the service where that does not come back either.
    void restartAround(const std::function<void()>& change);

private:
    void stopOne(const std::wstring& name);
    void startOne(const std::wstring& name) const;
    [[noreturn]] void startAfter(const InstallRefusal& refusal);

    std::wstring m_name;
    DWORD m_limitMs;
    DependentServices m_dependents;
    std::vector<std::wstring> m_stopped;
};

} // namespace tovix::install
