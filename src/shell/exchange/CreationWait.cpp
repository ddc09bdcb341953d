#include "exchange/CreationWait.h"

#include <new>
#include <utility>

namespace tovix {
namespace {

constinit SignalRelay creationSignals;

} // namespace

CreationWait::CreationWait(ApoConfigManager& manager, KernelHandle hCreateEvent) noexcept
    : m_pManager(&manager), m_pManagerTag(&manager), m_hCreateEvent(std::move(hCreateEvent)),
      m_hStopEvent(::CreateEventW(nullptr, TRUE, FALSE, nullptr)), m_listener(creationSignals) {}

CreationWait::Reference CreationWait::make(ApoConfigManager& manager, KernelHandle hCreateEvent) noexcept {
    return Reference(new (std::nothrow) CreationWait(manager, std::move(hCreateEvent)));
}

void CreationWait::cut() noexcept {
    const Exclusive guard(m_lock);
    m_pManager = nullptr;
    // The named event only where the thread waits for nothing else: elsewhere its signal would reach another waiter,
    // which would open the page and write over the text that the user has put there meanwhile.
    if (m_hStopEvent) {
        ::SetEvent(m_hStopEvent.get());
    } else if (!m_listener.wake() && m_hCreateEvent) {
        ::SetEvent(m_hCreateEvent.get());
    }
}

void CreationWait::end() noexcept {
    const Exclusive guard(m_lock);
    m_hCreateEvent.reset();
}

} // namespace tovix
