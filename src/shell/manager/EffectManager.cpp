#include "manager/EffectManager.h"

#include "log/Log.h"
#include "manager/ChainRebuilder.h"
#include "system/ModuleThread.h"

#include <mutex>

namespace tovix {
namespace {

constexpr DWORD threadEndLimitMs = 5000;

LogLocation in(const char* function, std::uint32_t line = __builtin_LINE()) noexcept {
    return {function, "EffectManager", line};
}

} // namespace

EffectManager::EffectManager() {
    logText(LogLevel::Info, in("EffectManager::EffectManager"), this, "ENTERED");
    m_pState.reset(new ChainRebuilder(this));
}

EffectManager::~EffectManager() {
    logText(LogLevel::Info, in("EffectManager::~EffectManager"), this, "ENTERED");
    if (m_hThread) {
        m_pState->shutDown();
        if (::WaitForSingleObject(m_hThread.get(), threadEndLimitMs) == WAIT_OBJECT_0) {
            logText(LogLevel::Info, in("EffectManager::~EffectManager"), this,
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
    auto forThread = m_pState->addReference();
    m_hThread = startModuleThread<&notificationThread>(forThread.get());
    // Compared with -1 and not with null, deliberately: a thread that could not be started is not reported, and the
    // next call tries again.
    if (m_hThread.get() == INVALID_HANDLE_VALUE) {
        static_cast<void>(m_hThread.release());
        logText(LogLevel::Error, in("EffectManager::initializeManager"), this,
                "E: Filed to create params change notification thread");
    }
    if (m_hThread) {
        static_cast<void>(forThread.release());
    }
}

DWORD EffectManager::notificationThread(void* pState) noexcept {
    const ChainRebuilder::Reference pReference(static_cast<ChainRebuilder*>(pState));
    pReference->rebuildOnUpdates();
    return 0;
}

void EffectManager::process(float* output, const float* input, std::uint32_t frameCount) noexcept {
    m_pState->process(output, input, frameCount);
}

bool EffectManager::oldApoSetting() const noexcept {
    return m_pState->oldApoSetting();
}

} // namespace tovix
