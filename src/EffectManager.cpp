#include "EffectManager.h"

#include "ManagerState.h"
#include "helpers/ModuleThread.h"
#include "log/Log.h"

#include <mutex>
#include <new>

namespace tovix {
namespace {

constexpr DWORD threadEndLimitMs = 5000;

LogLocation in(const char* function, std::uint32_t line = __builtin_LINE()) noexcept {
    return {function, "EffectManager", line};
}

void log(LogLevel level, const LogLocation& location, const void* pObject, std::string_view text) noexcept {
    if (logEnabled(level)) {
        LogLine(level, location, pObject).text(text).write();
    }
}

} // namespace

EffectManager::EffectManager() {
    log(LogLevel::Info, in("EffectManager::EffectManager"), this, "ENTERED");
    m_pState = std::make_shared<ManagerState>(this);
}

EffectManager::~EffectManager() {
    log(LogLevel::Info, in("EffectManager::~EffectManager"), this, "ENTERED");
    if (m_hThread) {
        m_pState->shutDown();
        if (::WaitForSingleObject(m_hThread.get(), threadEndLimitMs) == WAIT_OBJECT_0) {
            log(LogLevel::Info, in("EffectManager::~EffectManager"), this,
                "params change notification thread was terminated");
        }
    }
}

void EffectManager::initializeManager(const StreamFormat& format) noexcept {
    const std::lock_guard<CriticalSection> guard(m_pState->lock());
    m_pState->start(format, switches);
    if (!m_hThread) {
        startThread();
    }
}

void EffectManager::startThread() noexcept {
    m_pState->createShutdownEvent();
    std::unique_ptr<std::shared_ptr<ManagerState>> pReference(new (std::nothrow)
                                                                  std::shared_ptr<ManagerState>(m_pState));
    if (!pReference) {
        return;
    }
    m_hThread = startModuleThread(&notificationThread, pReference.get());
    // Compared with -1 and not with null, deliberately: a thread that could not be started is not reported, and the
    // next call tries again.
    if (m_hThread.get() == INVALID_HANDLE_VALUE) {
        static_cast<void>(m_hThread.release());
        log(LogLevel::Error, in("EffectManager::initializeManager"), this,
            "E: Filed to create params change notification thread");
    }
    if (m_hThread) {
        static_cast<void>(pReference.release());
    }
}

DWORD EffectManager::notificationThread(void* pState) noexcept {
    const std::unique_ptr<std::shared_ptr<ManagerState>> pReference(
        static_cast<std::shared_ptr<ManagerState>*>(pState));
    (*pReference)->rebuildOnUpdates();
    return 0;
}

void EffectManager::process(float* output, const float* input, std::uint32_t frameCount) noexcept {
    m_pState->process(output, input, frameCount);
}

bool EffectManager::oldApoSetting() const noexcept {
    return m_pState->oldApoSetting();
}

} // namespace tovix
