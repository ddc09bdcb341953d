#include "keep/EndOfSession.h"

#include <atomic>
#include <utility>

namespace tovix::keep {
namespace {

/// The console's handler has no argument of its own.
std::atomic<HANDLE> consoleStop{nullptr};

} // namespace

EndOfSession::EndOfSession(std::function<void()> finish, HANDLE hStop) : m_finish(std::move(finish)), m_hStop(hStop) {
    constexpr const wchar_t* className = L"TovixKeep";
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = &onMessage;
    windowClass.hInstance = ::GetModuleHandleW(nullptr);
    windowClass.lpszClassName = className;
    ::RegisterClassW(&windowClass);
    // A top-level window that is never shown: one for messages alone is not told of the session's end. Without a
    // desktop there is none, and nobody would tell it.
    m_hWindow = ::CreateWindowExW(0, className, L"", WS_OVERLAPPED, 0, 0, 0, 0, nullptr, nullptr,
                                  windowClass.hInstance, nullptr);
    if (m_hWindow != nullptr) {
        ::SetWindowLongPtrW(m_hWindow, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    consoleStop = m_hStop;
    ::SetConsoleCtrlHandler(&onConsoleEvent, TRUE);
}

EndOfSession::~EndOfSession() {
    ::SetConsoleCtrlHandler(&onConsoleEvent, FALSE);
    consoleStop = nullptr;
    if (m_hWindow != nullptr) {
        ::DestroyWindow(m_hWindow);
    }
}

void EndOfSession::dispatch() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        ::DispatchMessageW(&message);
    }
}

LRESULT EndOfSession::onMessage(HWND hWindow, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* const pThis = reinterpret_cast<EndOfSession*>(::GetWindowLongPtrW(hWindow, GWLP_USERDATA));
    const bool ends = message == WM_QUERYENDSESSION || (message == WM_ENDSESSION && wParam != FALSE);
    if (pThis == nullptr || (!ends && message != WM_CLOSE)) {
        return ::DefWindowProcW(hWindow, message, wParam, lParam);
    }
    if (ends) {
        pThis->m_finish();
    }
    if (message != WM_QUERYENDSESSION) { // which somebody else may still refuse
        ::SetEvent(pThis->m_hStop);
    }
    return TRUE;
}

BOOL EndOfSession::onConsoleEvent(DWORD event) {
    ::SetEvent(consoleStop);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        // The system ends the process when this returns, or after five seconds: time for the program's own end.
        constexpr DWORD systemLimitMs = 5000;
        ::Sleep(systemLimitMs);
    }
    return TRUE;
}

} // namespace tovix::keep
