#pragma once

#include "exchange/SignalRelay.h"
#include "system/Locks.h"
#include "system/RefCounted.h"
#include "system/WinHandles.h"

namespace tovix {

class ApoConfigManager;

/// What an ApoConfigManager and the thread that waits for the settings page share: the creation event, and the way
/// back to the manager, which the manager cuts when it goes. A thread that comes later than its last wait finds this
/// object in place and no manager. [control]
class CreationWait : public RefCounted<CreationWait> {
public:
    /// Takes the creation event, with one reference; null when there is no memory.
    static Reference make(ApoConfigManager& manager, KernelHandle hCreateEvent) noexcept;

    /// The thread's wait for the page; it ends with a stop once the way back is cut.
    SignalRelay::Heard await() noexcept { return m_listener.wait(m_hStopEvent.get(), m_hCreateEvent.get()); }

    /// Calls `work` with the manager, which stays as long; false when it has gone. `work` neither waits nor logs,
    /// because a logger may be slow and `cut` waits for it.
    template <class Work> bool withManager(const Work& work) noexcept {
        const Exclusive guard(m_lock);
        if (m_pManager == nullptr) {
            return false;
        }
        work(*m_pManager);
        return true;
    }

    /// Cuts the way back and ends the thread's wait.
    void cut() noexcept;

    /// For the thread, which waits no more: gives the creation event back, whose handles the control side counts as
    /// waiters.
    void end() noexcept;

    /// The manager's address for log lines, also when it has gone.
    [[nodiscard]] const void* managerTag() const noexcept { return m_pManagerTag; }

private:
    friend class RefCounted<CreationWait>;
    CreationWait(ApoConfigManager& manager, KernelHandle hCreateEvent) noexcept;
    ~CreationWait() = default;

    SRWLOCK m_lock = SRWLOCK_INIT;
    ApoConfigManager* m_pManager;
    const void* m_pManagerTag;
    /// Null once the wait has ended. Only the thread that waits gives it back.
    KernelHandle m_hCreateEvent;
    KernelHandle m_hStopEvent;
    SignalRelay::Listener m_listener;
};

} // namespace tovix
