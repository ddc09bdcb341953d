#include "apo/PreviousEffectSlot.h"

#include "system/GuardedCall.h"

namespace tovix {
namespace {

template <class Interface> void ask(IUnknown& object, REFIID iid, ComReference<Interface>& reference) noexcept {
    void* pInterface = nullptr;
    const HRESULT hr = guardedResult([&] { return object.QueryInterface(iid, &pInterface); });
    reference.reset(SUCCEEDED(hr) ? static_cast<Interface*>(pInterface) : nullptr);
}

template <class Interface> void giveBack(ComReference<Interface>& reference) noexcept {
    if (Interface* const pInterface = reference.release()) {
        static_cast<void>(guardedCall([pInterface] { pInterface->Release(); }));
    }
}

} // namespace

const std::array<EffectKey, effectKeyCount>& PreviousEffectSlot::keys() noexcept {
    return effectKeys;
}

HRESULT PreviousEffectSlot::fill(IUnknown& previousEffect) noexcept {
    release();
    ask(previousEffect, IID_IAudioProcessingObject, m_pOldApo);
    ask(previousEffect, IID_IAudioProcessingObjectRT, m_pOldApoRT);
    ask(previousEffect, IID_IAudioProcessingObjectConfiguration, m_pOldApoConfig);
    if (m_pOldApo && m_pOldApoRT && m_pOldApoConfig) {
        return S_OK;
    }
    release();
    return E_NOINTERFACE;
}

void PreviousEffectSlot::setLocked(bool locked) noexcept {
    m_isLocked = locked;
    m_pProcessing.store(locked ? m_pOldApoRT.get() : nullptr, std::memory_order_release);
}

HRESULT PreviousEffectSlot::unlock() noexcept {
    setLocked(false);
    return guardedResult([this] { return m_pOldApoConfig->UnlockForProcess(); });
}

IAudioProcessingObjectRT* PreviousEffectSlot::processing() const noexcept {
    return m_pProcessing.load(std::memory_order_acquire);
}

void PreviousEffectSlot::release() noexcept {
    if (m_isLocked) {
        static_cast<void>(unlock());
    }
    giveBack(m_pOldApo);
    giveBack(m_pOldApoRT);
    giveBack(m_pOldApoConfig);
    m_isRetired = false;
}

void PreviousEffectSlot::retire() noexcept {
    m_pProcessing.store(nullptr, std::memory_order_release);
    m_isRetired = m_pOldApo != nullptr;
}

void PreviousEffectSlot::releaseRetired() noexcept {
    if (m_isRetired) {
        release();
    }
}

} // namespace tovix
