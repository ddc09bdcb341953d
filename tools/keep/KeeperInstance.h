#pragma once

#include "system/WinHandles.h"

#include <optional>

namespace tovix::keep {

/// The one process of a session that keeps the settings, and how others of the session reach it. Anybody's program
/// may: one that was started by an administrator is ended without one. [control], on the program's main thread;
/// throws a KeepRefusal (processRefused).
class KeeperInstance {
public:
    /// Makes this process the one; none where another is. Throws where the system does not let it.
    static std::optional<KeeperInstance> claim();

    /// Signalled when the process is to end; borrowed. The process may signal it itself.
    [[nodiscard]] HANDLE stopEvent() const noexcept { return m_hStop.get(); }

    /// Whether a process keeps the settings.
    static bool runs() noexcept;

    /// Asks the process to end and waits for it; false where there is none. Throws where it does not end in ten
    /// seconds.
    static bool stop();

private:
    KeeperInstance() = default;

    /// Owned by the thread that has claimed it, until the process ends, however it ends.
    KernelHandle m_hMutex;
    KernelHandle m_hStop;
    /// Holds the process's identifier.
    KernelHandle m_hIdentity;
};

} // namespace tovix::keep
