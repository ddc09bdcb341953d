#pragma once

#include "exchange/SecurityHelper.h"
#include "exchange/SharedConfigMapping.h"
#include "system/Locks.h"
#include "system/RefCounted.h"
#include "system/WinHandles.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string_view>

namespace tovix {

/// What an ApoConfigManager and the thread that waits for the block share; a thread that comes back after the
/// manager's last wait finds it closed, not gone.
///
/// [control]. `m_lock` guards the members that the waiting thread reads or writes; nothing is logged and
/// nothing is waited for while it is held, because a logger may be slow.
class ConfigExchange : public RefCounted<ConfigExchange> {
public:
    /// A closed exchange with one reference; null when there is no memory.
    static Reference make() noexcept;

    /// The work of the manager's constructor and destructor, each called once.
    void setUp() noexcept;
    void tearDown() noexcept;

    /// As in ApoConfigManager.
    bool ReadConfigData(ConfigText& text) noexcept;
    void updateSharedData() noexcept;
    void SetSetting(std::int32_t section, std::int32_t key, std::int32_t value) noexcept;
    [[nodiscard]] std::int32_t GetSetting(std::int32_t section, std::int32_t key) noexcept;
    [[nodiscard]] HANDLE updateEvent() const noexcept { return m_hUpdateEvent.get(); }

private:
    friend class RefCounted<ConfigExchange>;
    ConfigExchange() noexcept = default;
    ~ConfigExchange() = default;

    void createUpdateEvent(SECURITY_ATTRIBUTES* sa) noexcept;
    void CreateSharedConfigData(SECURITY_ATTRIBUTES* sa) noexcept;
    void releaseWaiters(SECURITY_ATTRIBUTES* sa) noexcept;
    void waitForCreation(SECURITY_ATTRIBUTES* sa) noexcept;
    static DWORD SharedDataCreateThread(void* pManager) noexcept;
    [[nodiscard]] bool awaitCreation() const noexcept;
    void OpenSharedConfigData() noexcept;
    [[nodiscard]] bool canTryToOpen() const noexcept;
    void endWaitingThread() noexcept;
    [[nodiscard]] ConfigText settingsText() noexcept;

    std::unique_ptr<SharedConfigMapping> m_pSharedData;
    std::unique_ptr<GlobalObjectSecurity> m_pSecurity;
    KernelHandle m_hUpdateEvent;
    std::map<std::int32_t, std::map<std::int32_t, std::int32_t>> m_settings;
    KernelHandle m_hCreateEvent;
    KernelHandle m_hCreateThread;
    CriticalSection m_lock;
    /// Ends this exchange's own wait where another process's waiter takes the creation event's one signal.
    KernelHandle m_hStopEvent;
};

} // namespace tovix
