#include "exchange/ConfigExchange.h"

#include "exchange/ConfigHelper.h"
#include "log/Log.h"
#include "system/RegistrySettings.h"
#include "system/ThreadHoldingModule.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <new>

namespace tovix {
namespace {

constexpr DWORD threadEndLimitMs = 5000;

FunctionLog inExchange(const char* function, const void* pExchange) noexcept {
    return {function, "helpers\\ConfigHelper", pExchange};
}

KernelHandle createAutoResetEvent(SECURITY_ATTRIBUTES* sa, const wchar_t* name) noexcept {
    return KernelHandle(::CreateEventW(sa, FALSE, FALSE, name));
}

} // namespace

ConfigExchange::Reference ConfigExchange::make() noexcept {
    return Reference(new (std::nothrow) ConfigExchange);
}

void ConfigExchange::setUp() noexcept {
    static constexpr const char* function = "ApoConfigManager::ApoConfigManager";
    m_pSecurity.reset(new (std::nothrow) GlobalObjectSecurity);
    inExchange(function, this).info("ENTERING");
    if (!EnableCreateGlobalPrivilege(::GetCurrentProcess())) {
        inExchange(function, this).info("Failed to set SE_CREATE_GLOBAL_NAME priviledge");
    }
    SECURITY_ATTRIBUTES* const sa = m_pSecurity ? m_pSecurity->attributes() : nullptr;
    if (sa == nullptr) {
        inExchange(function, this).error("sa == NULL");
    }
    createUpdateEvent(sa);
    // Filled before the waiting thread can run: what it writes is the whole table. Only that thread writes it.
    SetSetting(ApoConfigManager::BoostSection, ApoConfigManager::BoostLevelKey, 0);
    SetSetting(ApoConfigManager::BoostSection, ApoConfigManager::BoostModeKey, 0);
    SetSetting(ApoConfigManager::BoostSection, ApoConfigManager::SwitchKey, 0);
    SetSetting(ApoConfigManager::OldEffectSection, ApoConfigManager::SwitchKey, ReadOldApoSetting() ? 1 : 0);
    CreateSharedConfigData(sa);
    inExchange(function, this).info("LEAVING");
}

void ConfigExchange::createUpdateEvent(SECURITY_ATTRIBUTES* sa) noexcept {
    m_hUpdateEvent = createAutoResetEvent(sa, CONFIG_DATA_UPDATE_EVENT);
    if (!m_hUpdateEvent) {
        const DWORD error = ::GetLastError();
        inExchange("ApoConfigManager::ApoConfigManager", this)
            .error("CreateEvent(CONFIG_DATA_UPDATE_EVENT) FAILED. GetLastError()=", error);
        m_hUpdateEvent = createAutoResetEvent(nullptr, nullptr);
    }
}

void ConfigExchange::CreateSharedConfigData(SECURITY_ATTRIBUTES* sa) noexcept {
    static constexpr const char* function = "ApoConfigManager::CreateSharedConfigData";
    if (m_pSharedData) {
        return;
    }
    m_pSharedData.reset(new (std::nothrow) SharedConfigMapping);
    if (!m_pSharedData) {
        return;
    }
    IpcsResult result = m_pSharedData->Open();
    if (result == IPCS_OK) {
        inExchange(function, this).info("m_pSharedData->Open( CONFIG_DATA_STRUCT ) SUCCEEDED");
        return;
    }
    const DWORD openError = ::GetLastError();
    inExchange(function, this)
        .info("m_pSharedData->Open( CONFIG_DATA_STRUCT ) FAILED. GetLastError()=", openError,
              " ipcsRes=", std::uint32_t{result}, ". Trying to create the struct...");
    result = m_pSharedData->Create(sa);
    if (result == IPCS_OK) {
        inExchange(function, this).info("m_pSharedData->Create( CONFIG_DATA_STRUCT, sa ) SUCCEEDED");
        releaseWaiters(sa);
        return;
    }
    const DWORD createError = ::GetLastError();
    inExchange(function, this)
        .warning("m_pSharedData->Create( CONFIG_DATA_STRUCT, sa ) FAILED. GetLastError()=", createError,
                 " ipcsRes=", std::uint32_t{result}, ". Going to wait for other process to create the struct.");
    m_pSharedData.reset();
    waitForCreation(sa);
}

void ConfigExchange::releaseWaiters(SECURITY_ATTRIBUTES* sa) noexcept {
    const KernelHandle created = createAutoResetEvent(sa, CONFIG_DATA_CREATE_EVENT);
    if (created) {
        ::SetEvent(created.get());
        return;
    }
    const DWORD error = ::GetLastError();
    inExchange("ApoConfigManager::CreateSharedConfigData", this)
        .error("CreateEvent(CONFIG_DATA_CREATE_EVENT) 2 FAILED. GetLastError()=", error);
}

void ConfigExchange::waitForCreation(SECURITY_ATTRIBUTES* sa) noexcept {
    static constexpr const char* function = "ApoConfigManager::CreateSharedConfigData";
    m_hCreateEvent = createAutoResetEvent(sa, CONFIG_DATA_CREATE_EVENT);
    if (!m_hCreateEvent) {
        const DWORD error = ::GetLastError();
        inExchange(function, this).error("CreateEvent(CONFIG_DATA_CREATE_EVENT) FAILED. GetLastError()=", error);
        return;
    }
    m_hStopEvent = createAutoResetEvent(nullptr, nullptr);
    inExchange(function, this).info("Starting a thread to wait for the data creation");
    Reference forThread = addReference();
    m_hCreateThread = startThreadHoldingModule<&SharedDataCreateThread>(forThread.get());
    if (m_hCreateThread) {
        static_cast<void>(forThread.release());
    }
}

DWORD ConfigExchange::SharedDataCreateThread(void* pManager) noexcept {
    static constexpr const char* function = "ApoConfigManager::SharedDataCreateThread";
    const Reference exchange(static_cast<ConfigExchange*>(pManager));
    inExchange(function, nullptr).info("Beginning to wait for shared config data creation");
    if (exchange->awaitCreation()) {
        inExchange(function, nullptr)
            .info("Wait for shared config data creation succeeded. Trying to open shared config data...");
        exchange->OpenSharedConfigData();
    }
    return 0;
}

bool ConfigExchange::awaitCreation() const noexcept {
    const std::array<HANDLE, 2> events{m_hCreateEvent.get(), m_hStopEvent.get()};
    const DWORD count = m_hStopEvent ? 2 : 1;
    return ::WaitForMultipleObjects(count, events.data(), FALSE, INFINITE) < WAIT_OBJECT_0 + count;
}

bool ConfigExchange::canTryToOpen() const noexcept {
    return m_pSecurity && m_hUpdateEvent && !m_pSharedData;
}

void ConfigExchange::OpenSharedConfigData() noexcept {
    static constexpr const char* function = "ApoConfigManager::OpenSharedConfigData";
    bool tried = false;
    IpcsResult result = IPCS_OPEN_FAILED;
    DWORD error = ERROR_NOT_ENOUGH_MEMORY;
    {
        const std::lock_guard guard(m_lock);
        tried = canTryToOpen();
        if (tried) {
            m_pSharedData.reset(new (std::nothrow) SharedConfigMapping);
        }
        if (tried && m_pSharedData) {
            result = m_pSharedData->Open();
            error = ::GetLastError();
        }
        if (tried && result != IPCS_OK) {
            m_pSharedData.reset();
        }
    }
    if (!tried) {
        inExchange(function, this)
            .warning(
                "canTryToOpen IS FALSE. Probably just finishing thread prematurely because of object's destruction.");
    } else if (result != IPCS_OK) {
        inExchange(function, this)
            .error("m_pSharedData->Open(CONFIG_DATA_STRUCT) FAILED. GetLastError()=", error,
                   " ipcsRes=", std::uint32_t{result}, "");
    } else {
        inExchange(function, this).info("m_pSharedData->Open(CONFIG_DATA_STRUCT) SUCCEEDED");
        updateSharedData();
    }
}

ConfigText ConfigExchange::settingsText() noexcept {
    const auto prefix = [this](std::int32_t section) {
        return GetSetting(section, ApoConfigManager::SwitchKey) == 1 ? "" : "#";
    };
    ConfigText text{};
    std::snprintf(text.data(), text.size(),
                  "%sBoost: %d dB %d\n%sEnableOldApo:", prefix(ApoConfigManager::BoostSection),
                  GetSetting(ApoConfigManager::BoostSection, ApoConfigManager::BoostLevelKey),
                  GetSetting(ApoConfigManager::BoostSection, ApoConfigManager::BoostModeKey),
                  prefix(ApoConfigManager::OldEffectSection));
    return text;
}

void ConfigExchange::updateSharedData() noexcept {
    {
        const std::lock_guard guard(m_lock);
        if (m_pSharedData) {
            m_pSharedData->writeText(settingsText());
            ::SetEvent(m_hUpdateEvent.get());
            return;
        }
    }
    inExchange("ApoConfigManager::updateSharedData", this).info("m_pSharedData DOESN'T EXIST");
}

bool ConfigExchange::ReadConfigData(ConfigText& text) noexcept {
    {
        const std::lock_guard guard(m_lock);
        if (m_pSharedData) {
            m_pSharedData->copyTo(text);
            return true;
        }
    }
    inExchange("ApoConfigManager::ReadConfigData", this).info("m_pSharedData DOESN'T EXIST");
    return false;
}

void ConfigExchange::SetSetting(std::int32_t section, std::int32_t key, std::int32_t value) noexcept {
    const std::lock_guard guard(m_lock);
    try {
        m_settings[section][key] = value;
    } catch (...) {
        // Without memory for the entry it goes on reading as 0.
    }
}

std::int32_t ConfigExchange::GetSetting(std::int32_t section, std::int32_t key) noexcept {
    const std::lock_guard guard(m_lock);
    const auto entries = m_settings.find(section);
    if (entries == m_settings.end()) {
        return 0;
    }
    const auto entry = entries->second.find(key);
    return entry != entries->second.end() ? entry->second : 0;
}

void ConfigExchange::tearDown() noexcept {
    static constexpr const char* function = "ApoConfigManager::~ApoConfigManager";
    inExchange(function, this).info("ENTERING");
    {
        const std::lock_guard guard(m_lock);
        m_pSharedData.reset();
        m_pSecurity.reset();
        m_hUpdateEvent.reset();
    }
    endWaitingThread();
    inExchange(function, this).info("LEAVING");
}

void ConfigExchange::endWaitingThread() noexcept {
    if (!m_hCreateEvent || !m_hCreateThread) {
        m_hCreateEvent.reset();
        return;
    }
    // The named event first: where this side's thread waits alone, it takes the signal and leaves none behind
    // that would wake the next waiter for nothing.
    ::SetEvent(m_hCreateEvent.get());
    ::SetEvent(m_hStopEvent.get());
    if (::WaitForSingleObject(m_hCreateThread.get(), threadEndLimitMs) == WAIT_OBJECT_0) {
        m_hCreateEvent.reset();
        m_hStopEvent.reset();
    }
    // A thread that is late may still wait on the events; they go with the last reference to this object.
    m_hCreateThread.reset();
}

} // namespace tovix
