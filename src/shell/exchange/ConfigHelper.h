#pragma once

#include "exchange/CreationWait.h"
#include "exchange/SecurityHelper.h"
#include "exchange/SharedConfigMapping.h"
#include "exchange/SignalRelay.h"
#include "exchange/UpdateEvent.h"
#include "system/Locks.h"
#include "system/WinHandles.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace tovix {

/// The effect's side of the exchange with its control application: the settings page in shared memory, the event that
/// announces a new text, and the wait for the page where this side can neither open nor create it. [control]; any
/// thread. Nothing here throws or reports a failure: it is logged, and what could not be had is missing. Nothing is
/// logged or waited for while a lock is held, because a logger may be slow.
///
/// Between the processes there is no lock: a read may catch a text that is half rewritten, and the signal that
/// follows the rewriting brings a whole one.
class ApoConfigManager {
public:
    /// Sections and keys of the settings table. Boost: switched on (1), level in tenths of a decibel, second
    /// number of the line. Previous effect: wanted (1).
    enum Section : std::int32_t { BoostSection = 0, PreviousEffectSection = 2 };
    enum Key : std::int32_t { SwitchKey = 0, BoostLevelKey = 1, BoostModeKey = 2 };

    /// Opens the page; or creates it, all zero, and releases who waits for it; or starts a thread that waits
    /// until the other side has created it and then writes this side's settings as text into it.
    ApoConfigManager() noexcept;

    /// Gives everything back. Ends the waiting thread and waits for it, at most 5000 ms; one that takes longer
    /// ends later, on its own, without touching the page.
    ~ApoConfigManager();

    ApoConfigManager(const ApoConfigManager&) = delete;
    ApoConfigManager& operator=(const ApoConfigManager&) = delete;

    /// Appends all bytes of the page, as one copy, to `stream`, a string of bytes; nothing while the page is not
    /// open or there is no memory (a stream with room for them needs none). What other effects passed on before is
    /// covered by this read: `awaitUpdate` does not return for it again.
    void ReadConfigData(std::string& stream) const noexcept;

    /// Writes the boost line and the line of the previous effect of the settings table into the page and signals.
    void updateSharedData() noexcept;

    /// Writes an entry of the settings table.
    void SetSetting(std::int32_t section, std::int32_t key, std::int32_t value) noexcept;

    /// Reads an entry of the settings table; 0 when there is none.
    [[nodiscard]] std::int32_t GetSetting(std::int32_t section, std::int32_t key) const noexcept;

    /// The update event (auto-reset), borrowed for the manager's life. Null only when the system gives no event at
    /// all.
    [[nodiscard]] HANDLE updateEvent() const noexcept { return m_hUpdateEvent.get(); }

    /// Waits until a new text is announced; one signal of the update event returns here in every manager of the
    /// module that waits or comes to wait. False once `hStop` is signalled, which comes first, and when there is no
    /// `hStop` or no update event. One thread at a time.
    [[nodiscard]] bool awaitUpdate(HANDLE hStop) noexcept;

private:
    /// How the waiting thread's try to open the page went.
    struct Opening {
        bool tried = false;
        IpcsResult result = IPCS_OPEN_FAILED;
        DWORD error = 0;
    };

    void createUpdateEvent(SECURITY_ATTRIBUTES* sa) noexcept;
    void CreateSharedConfigData(SECURITY_ATTRIBUTES* sa) noexcept;
    void releaseWaiters(SECURITY_ATTRIBUTES* sa) noexcept;
    void waitForCreation(SECURITY_ATTRIBUTES* sa) noexcept;
    static DWORD SharedDataCreateThread(void* pWait) noexcept;
    static bool OpenSharedConfigData(CreationWait& wait, SignalRelay::Heard heard) noexcept;
    [[nodiscard]] Opening tryToOpen() noexcept;
    void takeUpOpenedPage(SignalRelay::Heard heard) noexcept;
    [[nodiscard]] PageBytes settingsText() const noexcept;

    // In place, so that no lack of memory can leave an effect without them for its whole life.
    std::optional<SharedConfigMapping> m_pSharedData;
    std::optional<GlobalObjectSecurity> m_pSecurity{std::in_place};
    UpdateEvent m_hUpdateEvent;
    std::map<std::int32_t, std::map<std::int32_t, std::int32_t>> m_settings;
    /// Null where nothing waits for the page or ever did.
    CreationWait::Reference m_pCreationWait;
    KernelHandle m_hCreateThread;
    /// Guards page and settings against the waiting thread and among the threads that read.
    mutable CriticalSection m_lock;
    mutable SignalRelay::Listener m_updateListener;
};

} // namespace tovix
