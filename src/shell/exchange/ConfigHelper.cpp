#include "exchange/ConfigHelper.h"

#include "log/Log.h"
#include "system/RegistrySettings.h"
#include "system/ThreadHoldingModule.h"
#include "text/SettingsNames.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace tovix {
namespace {

constinit SignalRelay updateSignals;

/// Between a creation signal that came without a page and the next one that counts: long beside what a look costs,
/// short beside what a user notices and the limit for the thread's end.
constexpr DWORD earlySignalPauseMs = 50;

FunctionLog logOf(const char* function, const void* pManager) noexcept {
    return {function, "helpers\\ConfigHelper", pManager};
}

KernelHandle createCreationEvent(SECURITY_ATTRIBUTES* sa) noexcept {
    return KernelHandle(::CreateEventW(sa, FALSE, FALSE, CONFIG_DATA_CREATE_EVENT));
}

} // namespace

ApoConfigManager::ApoConfigManager() noexcept : m_updateListener(updateSignals) {
    const FunctionLog log = logOf("ApoConfigManager::ApoConfigManager", this);
    log.info("ENTERING");
    if (!EnableCreateGlobalPrivilege(::GetCurrentProcess())) {
        log.info("Failed to set SE_CREATE_GLOBAL_NAME priviledge");
    }
    SECURITY_ATTRIBUTES* const sa = m_pSecurity->attributes();
    if (sa == nullptr) {
        log.error("sa == NULL");
    }
    createUpdateEvent(sa);
    // Filled before the waiting thread can run: what it writes is the whole table. Only that thread writes it.
    SetSetting(BoostSection, BoostLevelKey, 0);
    SetSetting(BoostSection, BoostModeKey, 0);
    SetSetting(BoostSection, SwitchKey, 0);
    SetSetting(PreviousEffectSection, SwitchKey, ReadPreviousEffectSetting() ? 1 : 0);
    CreateSharedConfigData(sa);
    log.info("LEAVING");
}

ApoConfigManager::~ApoConfigManager() {
    const FunctionLog log = logOf("ApoConfigManager::~ApoConfigManager", this);
    log.info("ENTERING");
    if (m_pCreationWait) {
        m_pCreationWait->cut();
    }
    m_pSharedData.reset();
    m_pSecurity.reset();
    m_hUpdateEvent.reset();
    if (m_hCreateThread) {
        ::WaitForSingleObject(m_hCreateThread.get(), threadEndLimitMs);
    }
    log.info("LEAVING");
}

void ApoConfigManager::createUpdateEvent(SECURITY_ATTRIBUTES* sa) noexcept {
    m_hUpdateEvent = openUpdateEvent(sa);
    if (!m_hUpdateEvent) {
        const DWORD error = ::GetLastError();
        logOf("ApoConfigManager::ApoConfigManager", this)
            .error("CreateEvent(CONFIG_DATA_UPDATE_EVENT) FAILED. GetLastError()=", error);
        m_hUpdateEvent = makeUnnamedUpdateEvent();
    }
}

void ApoConfigManager::CreateSharedConfigData(SECURITY_ATTRIBUTES* sa) noexcept {
    m_pSharedData.emplace();
    const FunctionLog log = logOf("ApoConfigManager::CreateSharedConfigData", this);
    const IpcsResult opened = m_pSharedData->Open();
    const DWORD openError = ::GetLastError();
    if (opened == IPCS_OK) {
        log.info("m_pSharedData->Open( CONFIG_DATA_STRUCT ) SUCCEEDED");
        return;
    }
    // Nothing is logged in between: where the object holds a mapping by now, the error of opening is that of both.
    const IpcsResult created = m_pSharedData->Create(sa);
    const DWORD createError = ::GetLastError();
    log.info("m_pSharedData->Open( CONFIG_DATA_STRUCT ) FAILED. GetLastError()=", openError,
             " ipcsRes=", std::uint32_t{opened}, ". Trying to create the struct...");
    if (created == IPCS_OK) {
        log.info("m_pSharedData->Create( CONFIG_DATA_STRUCT, sa ) SUCCEEDED");
        releaseWaiters(sa);
        return;
    }
    log.warning("m_pSharedData->Create( CONFIG_DATA_STRUCT, sa ) FAILED. GetLastError()=", createError,
                " ipcsRes=", std::uint32_t{created}, ". Going to wait for other process to create the struct.");
    m_pSharedData.reset();
    waitForCreation(sa);
}

void ApoConfigManager::releaseWaiters(SECURITY_ATTRIBUTES* sa) noexcept {
    const KernelHandle created = createCreationEvent(sa);
    if (created) {
        ::SetEvent(created.get());
        return;
    }
    const DWORD error = ::GetLastError();
    logOf("ApoConfigManager::CreateSharedConfigData", this)
        .error("CreateEvent(CONFIG_DATA_CREATE_EVENT) 2 FAILED. GetLastError()=", error);
}

void ApoConfigManager::waitForCreation(SECURITY_ATTRIBUTES* sa) noexcept {
    const FunctionLog log = logOf("ApoConfigManager::CreateSharedConfigData", this);
    KernelHandle hCreateEvent = createCreationEvent(sa);
    if (!hCreateEvent) {
        const DWORD error = ::GetLastError();
        log.error("CreateEvent(CONFIG_DATA_CREATE_EVENT) FAILED. GetLastError()=", error);
        return;
    }
    m_pCreationWait = CreationWait::make(*this, std::move(hCreateEvent));
    if (!m_pCreationWait) {
        return;
    }
    // A page that came before this event did: whoever created it may have signalled an event that nobody held.
    if (tryToOpen().result == IPCS_OK) {
        log.info("m_pSharedData->Open( CONFIG_DATA_STRUCT ) SUCCEEDED");
        m_pCreationWait.reset();
        return;
    }
    log.info("Starting a thread to wait for the data creation");
    CreationWait::Reference forThread = m_pCreationWait->addReference();
    m_hCreateThread = startThreadHoldingModule<&SharedDataCreateThread>(forThread.get());
    if (m_hCreateThread) {
        static_cast<void>(forThread.release());
    } else {
        m_pCreationWait.reset();
    }
}

DWORD ApoConfigManager::SharedDataCreateThread(void* pWait) noexcept {
    const CreationWait::Reference wait(static_cast<CreationWait*>(pWait));
    const FunctionLog log = logOf("ApoConfigManager::SharedDataCreateThread", nullptr);
    log.info("Beginning to wait for shared config data creation");
    bool over = false;
    while (!over) {
        const SignalRelay::Heard heard = wait->await();
        if (heard == SignalRelay::Heard::failure) {
            break;
        }
        log.info("Wait for shared config data creation succeeded. Trying to open shared config data...");
        over = OpenSharedConfigData(*wait, heard);
        if (!over) {
            // An event that another program has made may stay signalled, and must not keep a core busy.
            ::Sleep(earlySignalPauseMs);
        }
    }
    wait->end();
    return 0;
}

/// True when the wait is over. Without a page the signal came too early, and the next one counts.
bool ApoConfigManager::OpenSharedConfigData(CreationWait& wait, SignalRelay::Heard heard) noexcept {
    const FunctionLog log = logOf("ApoConfigManager::OpenSharedConfigData", wait.managerTag());
    Opening opening;
    wait.withManager([&opening](ApoConfigManager& manager) { opening = manager.tryToOpen(); });
    if (!opening.tried) {
        log.warning(
            "canTryToOpen IS FALSE. Probably just finishing thread prematurely because of object's destruction.");
        return true;
    }
    if (opening.result != IPCS_OK) {
        log.error("m_pSharedData->Open(CONFIG_DATA_STRUCT) FAILED. GetLastError()=", opening.error,
                  " ipcsRes=", std::uint32_t{opening.result}, "");
        return false;
    }
    log.info("m_pSharedData->Open(CONFIG_DATA_STRUCT) SUCCEEDED");
    // Before the text: the control side takes it as the end of this wait and looks for further ones.
    wait.end();
    wait.withManager([heard](ApoConfigManager& manager) { manager.takeUpOpenedPage(heard); });
    return true;
}

ApoConfigManager::Opening ApoConfigManager::tryToOpen() noexcept {
    const std::lock_guard guard(m_lock);
    if (!m_pSecurity || !m_hUpdateEvent || m_pSharedData) {
        return {};
    }
    m_pSharedData.emplace();
    const IpcsResult result = m_pSharedData->Open();
    const DWORD error = ::GetLastError();
    if (result != IPCS_OK) {
        m_pSharedData.reset();
    }
    return {true, result, error};
}

/// The effect that the creation signal itself woke writes its settings over what the creating side has written. One
/// that it was passed on to leaves the text, which may be the user's by now, and only has it read.
void ApoConfigManager::takeUpOpenedPage(SignalRelay::Heard heard) noexcept {
    if (heard == SignalRelay::Heard::signal) {
        updateSharedData();
    } else if (!m_updateListener.wake()) {
        ::SetEvent(m_hUpdateEvent.get());
    }
}

PageBytes ApoConfigManager::settingsText() const noexcept {
    const auto prefix = [this](std::int32_t section) { return GetSetting(section, SwitchKey) == 1 ? "" : "#"; };
    PageBytes text{};
    std::snprintf(text.data(), text.size(), "%s%s: %d dB %d\n%s%s:", prefix(BoostSection),
                  settings::boost.narrow().data(), GetSetting(BoostSection, BoostLevelKey),
                  GetSetting(BoostSection, BoostModeKey), prefix(PreviousEffectSection),
                  settings::enableOldApo.narrow().data());
    return text;
}

void ApoConfigManager::updateSharedData() noexcept {
    {
        const std::lock_guard guard(m_lock);
        if (m_pSharedData) {
            m_pSharedData->writeText(settingsText());
            ::SetEvent(m_hUpdateEvent.get());
            return;
        }
    }
    logOf("ApoConfigManager::updateSharedData", this).info("m_pSharedData DOESN'T EXIST");
}

void ApoConfigManager::ReadConfigData(std::string& stream) const noexcept {
    // Before the copy: what is announced from here on is read again.
    m_updateListener.dropPassedOn();
    PageBytes page{};
    bool open = false;
    {
        const std::lock_guard guard(m_lock);
        open = m_pSharedData.has_value();
        if (open) {
            m_pSharedData->copyTo(page);
        }
    }
    if (!open) {
        logOf("ApoConfigManager::ReadConfigData", this).info("m_pSharedData DOESN'T EXIST");
        return;
    }
    try {
        stream.append(page.data(), page.size());
    } catch (...) {
        // Without memory nothing is appended.
        return;
    }
}

bool ApoConfigManager::awaitUpdate(HANDLE hStop) noexcept {
    if (hStop == nullptr) {
        return false;
    }
    const SignalRelay::Heard heard = m_updateListener.wait(hStop, m_hUpdateEvent.get());
    return heard == SignalRelay::Heard::signal || heard == SignalRelay::Heard::passedOn;
}

void ApoConfigManager::SetSetting(std::int32_t section, std::int32_t key, std::int32_t value) noexcept {
    const std::lock_guard guard(m_lock);
    try {
        m_settings[section][key] = value;
    } catch (...) {
        // Without memory for the entry it goes on reading as 0.
    }
}

std::int32_t ApoConfigManager::GetSetting(std::int32_t section, std::int32_t key) const noexcept {
    const std::lock_guard guard(m_lock);
    const auto entries = m_settings.find(section);
    if (entries == m_settings.end()) {
        return 0;
    }
    const auto entry = entries->second.find(key);
    return entry != entries->second.end() ? entry->second : 0;
}

} // namespace tovix
