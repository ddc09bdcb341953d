#include "exchange/SignalRelay.h"

#include "system/Locks.h"

#include <array>

namespace tovix {

SignalRelay::Listener::Listener(SignalRelay& relay) noexcept
    : m_relay(relay), m_hPassedOn(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    m_relay.add(*this);
}

SignalRelay::Heard SignalRelay::Listener::wait(HANDLE hStop, HANDLE hSignal) noexcept {
    std::array<HANDLE, 3> handles{};
    std::array<Heard, 3> meanings{};
    DWORD count = 0;
    const auto add = [&](HANDLE handle, Heard meaning) {
        handles[count] = handle;
        meanings[count++] = meaning;
    };
    if (hStop != nullptr) {
        add(hStop, Heard::stop);
    }
    // Before the private event: what it has been told of meanwhile is older, and one answer serves both.
    add(hSignal, Heard::signal);
    if (m_hPassedOn) {
        add(m_hPassedOn.get(), Heard::passedOn);
    }
    const DWORD index = ::WaitForMultipleObjects(count, handles.data(), FALSE, INFINITE) - WAIT_OBJECT_0;
    const Heard heard = index < count ? meanings[index] : Heard::failure;
    if (heard == Heard::signal) {
        m_relay.passOn(*this);
    }
    return heard;
}

void SignalRelay::add(Listener& listener) noexcept {
    const Exclusive guard(m_lock);
    listener.m_pNext = m_pFirst;
    listener.m_ppSelf = &m_pFirst;
    if (m_pFirst != nullptr) {
        m_pFirst->m_ppSelf = &listener.m_pNext;
    }
    m_pFirst = &listener;
}

void SignalRelay::remove(const Listener& listener) noexcept {
    const Exclusive guard(m_lock);
    *listener.m_ppSelf = listener.m_pNext;
    if (listener.m_pNext != nullptr) {
        listener.m_pNext->m_ppSelf = listener.m_ppSelf;
    }
}

void SignalRelay::passOn(const Listener& taker) noexcept {
    const Exclusive guard(m_lock);
    for (Listener* pListener = m_pFirst; pListener != nullptr; pListener = pListener->m_pNext) {
        if (pListener != &taker) {
            pListener->wake();
        }
    }
}

} // namespace tovix
