#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace tovix::install {

/// The system service whose engine loads the effect. While it is stopped no file of the effect is in use. [control],
/// one thread at a time; throws InstallRefusal (audioService, notElevated).
class AudioService {
public:
    static constexpr DWORD timeLimitMs = 30'000;

    /// `name` is another service's in tests.
    explicit AudioService(std::wstring name = L"Audiosrv", DWORD limitMs = timeLimitMs);

    /// Stops the running services that depend on it, then the service itself, and waits for each. Remembers them.
    void stop();

    /// Starts what `stop` stopped, the service first, and waits for each. What does not come back is named.
    void start();

private:
    std::wstring m_name;
    DWORD m_limitMs;
    std::vector<std::wstring> m_stopped;
};

} // namespace tovix::install
