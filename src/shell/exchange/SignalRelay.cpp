#include "exchange/SignalRelay.h"

#include "system/Locks.h"

#include <array>
#include <utility>

namespace tovix {

SignalRelay::Listener::Listener(SignalRelay& relay) noexcept
    : m_relay(relay), m_hLook(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    m_relay.add(*this);
}

SignalRelay::Heard SignalRelay::Listener::wait(HANDLE hStop, HANDLE hSignal) noexcept {
    Heard heard = Heard::failure;
    do {
        heard = waitOnce(hStop, hSignal, m_relay.beginWait(*this, hSignal));
    } while (!m_relay.endWait(*this, heard));
    return heard;
}

SignalRelay::Heard SignalRelay::Listener::waitOnce(HANDLE hStop, HANDLE hSignal, bool watches) const noexcept {
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
    // Before the event: one that has been told already leaves the signal, which may be another process's.
    if (m_hLook) {
        add(m_hLook.get(), Heard::passedOn);
    }
    if (watches) {
        add(hSignal, Heard::signal);
    }
    const DWORD index = ::WaitForMultipleObjects(count, handles.data(), FALSE, INFINITE) - WAIT_OBJECT_0;
    return index < count ? meanings[index] : Heard::failure;
}

bool SignalRelay::Listener::wake() noexcept {
    const Exclusive guard(m_relay.m_lock);
    return tell(*this);
}

void SignalRelay::Listener::dropPassedOn() noexcept {
    const Exclusive guard(m_relay.m_lock);
    m_passedOn = false;
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

bool SignalRelay::isWatched(HANDLE hSignal) const noexcept {
    const Listener* pListener = m_pFirst;
    while (pListener != nullptr && !(pListener->m_watches && pListener->m_hAwaited == hSignal)) {
        pListener = pListener->m_pNext;
    }
    return pListener != nullptr;
}

/// Whether the listener is to wait for the event itself, as one must that cannot be told.
bool SignalRelay::beginWait(Listener& listener, HANDLE hSignal) noexcept {
    const Exclusive guard(m_lock);
    listener.m_watches = !listener.m_hLook || !isWatched(hSignal);
    listener.m_hAwaited = hSignal;
    return listener.m_watches;
}

/// False when the listener has heard nothing: what it was to be told is dropped, or it is to watch.
bool SignalRelay::endWait(Listener& listener, Heard heard) noexcept {
    const Exclusive guard(m_lock);
    const HANDLE hSignal = std::exchange(listener.m_hAwaited, nullptr);
    listener.m_watches = false;
    if (heard == Heard::signal) {
        tellOthers(listener);
        return true;
    }
    if (heard == Heard::passedOn && !std::exchange(listener.m_passedOn, false)) {
        return false;
    }
    findWatcher(hSignal);
    return true;
}

void SignalRelay::tellOthers(const Listener& taker) noexcept {
    for (Listener* pListener = m_pFirst; pListener != nullptr; pListener = pListener->m_pNext) {
        if (pListener != &taker) {
            tell(*pListener);
        }
    }
}

/// One that was found and goes before it watches finds the next.
void SignalRelay::findWatcher(HANDLE hSignal) noexcept {
    if (isWatched(hSignal)) {
        return;
    }
    Listener* pListener = m_pFirst;
    while (pListener != nullptr && pListener->m_hAwaited != hSignal) {
        pListener = pListener->m_pNext;
    }
    if (pListener != nullptr) {
        ::SetEvent(pListener->m_hLook.get());
    }
}

bool SignalRelay::tell(Listener& listener) noexcept {
    listener.m_passedOn = true;
    return ::SetEvent(listener.m_hLook.get()) != FALSE;
}

} // namespace tovix
