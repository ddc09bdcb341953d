#include "OldApoSlot.h"

#include <utility>

namespace tovix {

void OldApoSlot::Interfaces::release() noexcept {
    apo.reset();
    rt.reset();
    config.reset();
}

HRESULT OldApoSlot::fill(IUnknown& oldApo) {
    release();
    m_held.apo = queryInterface<IAudioProcessingObject>(oldApo, IID_IAudioProcessingObject);
    m_held.rt = queryInterface<IAudioProcessingObjectRT>(oldApo, IID_IAudioProcessingObjectRT);
    m_held.config =
        queryInterface<IAudioProcessingObjectConfiguration>(oldApo, IID_IAudioProcessingObjectConfiguration);
    if (m_held.apo && m_held.rt && m_held.config) {
        return S_OK;
    }
    release();
    return E_NOINTERFACE;
}

void OldApoSlot::setLocked(bool locked) noexcept {
    m_pProcessing.store(locked ? m_held.rt.get() : nullptr, std::memory_order_release);
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
