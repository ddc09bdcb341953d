#include "manager/EffectManager.h"

#include "log/Log.h"
#include "manager/ChainRebuilder.h"
#include "system/ThreadHoldingModule.h"

#include <mutex>

namespace tovix {
namespace {

FunctionLog logOf(const char* function, const EffectManager* pManager) noexcept {
    return {function, "EffectManager", pManager};
}

} // namespace

EffectManager::EffectManager() {
    logOf("EffectManager::EffectManager", this).info("ENTERED");
    m_pRebuilder.reset(new ChainRebuilder(this));
}

EffectManager::~EffectManager() {
    logOf("EffectManager::~EffectManager", this).info("ENTERED");
    if (m_hThread) {
        m_pRebuilder->shutDown();
        if (::WaitForSingleObject(m_hThread.get(), threadEndLimitMs) == WAIT_OBJECT_0) {
            logOf("EffectManager::~EffectManager", this).info("params change notification thread was terminated");
        }
    }
}

void EffectManager::initializeManager(const StreamFormat& format) noexcept {
    const std::lock_guard guard(m_pRebuilder->lock());
    m_pRebuilder->startStream(format, m_switches);
    if (!m_hThread) {
        startThread();
    }
}

void EffectManager::startThread() noexcept {
    auto forThread = m_pRebuilder->addReference();
    m_hThread = startThreadHoldingModule<&notificationThread>(forThread.get());
    // Compared with -1 and not with null, deliberately: a thread that could not be started is not reported, and the
    // next call tries again.
    if (m_hThread.get() == INVALID_HANDLE_VALUE) {
        static_cast<void>(m_hThread.release());
        logOf("EffectManager::initializeManager", this).error("E: Filed to create params change notification thread");
    }
    if (m_hThread) {
        static_cast<void>(forThread.release());
    }
}

DWORD EffectManager::notificationThread(void* pRebuilder) noexcept {
    const ChainRebuilder::Reference rebuilder(static_cast<ChainRebuilder*>(pRebuilder));
    rebuilder->rebuildOnUpdates();
    return 0;
}

void EffectManager::process(float* output, const float* input, std::uint32_t frameCount) noexcept {
    m_pRebuilder->process(output, input, frameCount);
}

bool EffectManager::readPreviousEffectWish() noexcept {
    return m_pRebuilder->readPreviousEffectWish();
}

bool EffectManager::wantsPreviousEffect() const noexcept {
    return m_pRebuilder->wantsPreviousEffect();
}

} // namespace tovix
