#include "host/ControllersTurn.h"

#include "exchange/SecurityHelper.h"

namespace tovix {

ControllersTurn::ControllersTurn() {
    constexpr DWORD longestWaitMs = 5000;
    static_cast<void>(EnableCreateGlobalPrivilege(::GetCurrentProcess()));
    const GlobalObjectSecurity security;
    m_hMutex.reset(::CreateMutexW(security.attributes(), FALSE, L"Global\\TovixControl"));
    if (m_hMutex) {
        const DWORD result = ::WaitForSingleObject(m_hMutex.get(), longestWaitMs);
        // One that ended in the middle has left a text of its own behind, or none: both can be gone on from.
        m_mine = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
    }
}

ControllersTurn::~ControllersTurn() {
    if (m_mine) {
        ::ReleaseMutex(m_hMutex.get());
    }
}

} // namespace tovix
