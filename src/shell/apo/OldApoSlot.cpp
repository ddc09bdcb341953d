#include "apo/OldApoSlot.h"

#include <utility>

namespace tovix {

const std::array<EffectKey, effectKeyCount>& OldApoSlot::keys() noexcept {
    return effectKeys;
}

void OldApoSlot::Interfaces::release() noexcept {
    m_pOldApo.reset();
    m_pOldApoRT.reset();
    m_pOldApoConfig.reset();
}

HRESULT OldApoSlot::fill(IUnknown& oldApo) {
    release();
    m_held.m_pOldApo = queryInterface<IAudioProcessingObject>(oldApo, IID_IAudioProcessingObject);
    m_held.m_pOldApoRT = queryInterface<IAudioProcessingObjectRT>(oldApo, IID_IAudioProcessingObjectRT);
    m_held.m_pOldApoConfig =
        queryInterface<IAudioProcessingObjectConfiguration>(oldApo, IID_IAudioProcessingObjectConfiguration);
    if (m_held.m_pOldApo && m_held.m_pOldApoRT && m_held.m_pOldApoConfig) {
        return S_OK;
    }
    release();
    return E_NOINTERFACE;
}

void OldApoSlot::setLocked(bool locked) noexcept {
    m_pProcessing.store(locked ? m_held.m_pOldApoRT.get() : nullptr, std::memory_order_release);
}

IAudioProcessingObjectRT* OldApoSlot::processing() const noexcept {
    return m_pProcessing.load(std::memory_order_acquire);
}

void OldApoSlot::release() noexcept {
    setLocked(false);
    m_held.release();
}

void OldApoSlot::retire() noexcept {
    setLocked(false);
    if (present()) {
        m_retired = std::move(m_held);
    }
}

void OldApoSlot::giveBackRetired() noexcept {
    m_retired.release();
}

} // namespace tovix
