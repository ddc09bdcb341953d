#pragma once

#include <windows.h>

#include <functional>

namespace tovix::keep {

/// Hears of the end of the user's session, and of the other ways in which the system ends a program, for as long as
/// it lives. [control], on the thread that made it, which must also run `dispatch`.
///
/// Whoever waits for messages hears of the session by a window of its own, which nobody sees; a console's closing and
/// its Ctrl-C come on a thread of the system.
class EndOfSession {
public:
    /// `finish` is called within the system's question or announcement, as nothing may run afterwards. `hStop` is
    /// borrowed and signalled for all ends.
    EndOfSession(std::function<void()> finish, HANDLE hStop);
    ~EndOfSession();
    EndOfSession(const EndOfSession&) = delete;
    EndOfSession& operator=(const EndOfSession&) = delete;

    /// Hands out the messages that have come.
    static void dispatch();

private:
    static LRESULT CALLBACK onMessage(HWND hWindow, UINT message, WPARAM wParam, LPARAM lParam);
    static BOOL WINAPI onConsoleEvent(DWORD event);

    std::function<void()> m_finish;
    HANDLE m_hStop;
    HWND m_hWindow = nullptr;
};

} // namespace tovix::keep
