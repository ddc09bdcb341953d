#include "apo/PreviousEffectSlot.h"

#include "system/GuardedCall.h"

namespace tovix {

HRESULT PreviousEffectSlot::fill(IUnknown& previousEffect) noexcept {
    release();
    HRESULT hr = m_pOldApo.ask(previousEffect, IID_IAudioProcessingObject);
    if (SUCCEEDED(hr)) {
        hr = m_pOldApoRT.ask(previousEffect, IID_IAudioProcessingObjectRT);
    }
    if (SUCCEEDED(hr)) {
        hr = m_pOldApoConfig.ask(previousEffect, IID_IAudioProcessingObjectConfiguration);
    }
    if (FAILED(hr)) {
        release();
    }
    return hr;
}

void PreviousEffectSlot::setLocked(bool locked) noexcept {
    // Its locking may have called back and emptied the slot.
    m_isLocked = locked && m_pOldApoConfig;
    m_pProcessing.store(m_isLocked ? m_pOldApoRT.get() : nullptr, std::memory_order_release);
}

HRESULT PreviousEffectSlot::unlock() noexcept {
    setLocked(false);
    return guardedResult([this] { return m_pOldApoConfig->UnlockForProcess(); });
}

IAudioProcessingObjectRT* PreviousEffectSlot::processing() const noexcept {
    return m_pProcessing.load(std::memory_order_acquire);
}

void PreviousEffectSlot::stopProcessing() noexcept {
    m_pProcessing.store(nullptr, std::memory_order_release);
}

void PreviousEffectSlot::release() noexcept {
    if (m_isLocked) {
        static_cast<void>(unlock());
    }
    m_pOldApo.reset();
    m_pOldApoRT.reset();
    m_pOldApoConfig.reset();
    m_isRetired = false;
}

void PreviousEffectSlot::retire() noexcept {
    stopProcessing();
    m_isRetired = static_cast<bool>(m_pOldApo);
}

void PreviousEffectSlot::releaseRetired() noexcept {
    if (m_isRetired) {
        release();
    }
}

} // namespace tovix
