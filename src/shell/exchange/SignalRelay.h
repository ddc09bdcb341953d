#pragma once

#include "system/WinHandles.h"

namespace tovix {

/// Brings one signal of a named auto-reset event to every listener of this module. The event itself wakes a single
/// waiter, and several effects live in one process: the listener that takes the signal wakes the others through
/// private events.
///
/// Between processes a signal stays with the one waiter, so a module must not take two where one is meant for it. Of
/// the listeners that wait with the same handle one alone, the watching one, waits for the event itself; when its
/// wait ends another takes over.
///
/// All [control]; listeners come, wait and go on any thread at any time. The list needs no memory and its lock is
/// held for nothing but the list and the private events.
class SignalRelay {
public:
    /// What ended a wait.
    enum class Heard {
        stop,
        /// The event itself; the other listeners have been told.
        signal,
        /// Another listener took the signal.
        passedOn,
        /// The wait failed, because a handle is not usable.
        failure,
    };

    /// One that waits; listed from construction to destruction, so that no signal between its waits is lost.
    class Listener {
    public:
        /// Without memory for a private event it hears only the signals that it takes itself.
        explicit Listener(SignalRelay& relay) noexcept;
        ~Listener() { m_relay.remove(*this); }
        Listener(const Listener&) = delete;
        Listener& operator=(const Listener&) = delete;

        /// Waits without limit for `hStop` (null: nothing stops it), the event `hSignal` or what is passed on. One
        /// thread at a time. Stopping comes first, so that no flood of signals can hold it up; a stop takes no
        /// signal. A signal that was taken has been passed on when this returns, whatever becomes of the listener.
        Heard wait(HANDLE hStop, HANDLE hSignal) noexcept;

        /// Makes the next wait return as if a signal had been passed on; false where there is no private event.
        bool wake() noexcept;

        /// Drops what was passed on so far, for who is about to act on it anyway.
        void dropPassedOn() noexcept;

    private:
        friend class SignalRelay;

        Heard waitOnce(HANDLE hStop, HANDLE hSignal, bool watches) const noexcept;

        SignalRelay& m_relay;
        /// Ends a wait, for the listener to look at what follows. The relay's lock guards that.
        KernelHandle m_hLook;
        bool m_passedOn = false;
        bool m_watches = false;
        /// Null between waits.
        HANDLE m_hAwaited = nullptr;
        Listener* m_pNext = nullptr;
        Listener** m_ppSelf = nullptr;
    };

    constexpr SignalRelay() noexcept = default;
    ~SignalRelay() = default;
    SignalRelay(const SignalRelay&) = delete;
    SignalRelay& operator=(const SignalRelay&) = delete;

private:
    void add(Listener& listener) noexcept;
    void remove(const Listener& listener) noexcept;
    [[nodiscard]] bool isWatched(HANDLE hSignal) const noexcept;
    bool beginWait(Listener& listener, HANDLE hSignal) noexcept;
    bool endWait(Listener& listener, Heard heard) noexcept;
    void tellOthers(const Listener& taker) noexcept;
    void findWatcher(HANDLE hSignal) noexcept;
    static bool tell(Listener& listener) noexcept;

    SRWLOCK m_lock = SRWLOCK_INIT;
    Listener* m_pFirst = nullptr;
};

} // namespace tovix
