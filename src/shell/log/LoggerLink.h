#pragma once

#include "log/IQuelLoggerUser.h"

#include <windows.h>

namespace tovix {

/// The logger library in use: its interface, this process's reference to its module, and which threads are
/// inside the interface at the moment. Its lock is never held while the library runs. Any thread; [control].
class LoggerLink {
public:
    /// Changes with every `forget`. Take it before asking a library for its interface.
    [[nodiscard]] unsigned generation() noexcept;

    /// Whether an interface is held.
    [[nodiscard]] bool held() noexcept;

    /// Keeps an interface and the module reference behind it. False, and nothing is kept, when the library
    /// has been forgotten since `generation` was taken.
    bool keep(IQuelLogger* pLogger, HMODULE hModule, unsigned generation) noexcept;

    /// Hands one line to the interface, if there is one. What the interface throws ends here.
    void pass(const char* line) noexcept;

    /// The level that the interface wants; 0 when there is none or it throws.
    std::int32_t wantedLevel() noexcept;

    /// Forgets interface and module; then waits, at most IQuelLoggerUser::lineReturnLimitMs, until the lines
    /// of other threads have come back.
    void forget() noexcept;

    /// Takes the interface away, so that no further line reaches it, and waits as `forget` does. The module
    /// stays. Null when there was none.
    IQuelLogger* closeInterface() noexcept;

    /// The module behind the interface, borrowed; null when none is held.
    [[nodiscard]] HMODULE module() noexcept;

    /// Takes the module reference away: the caller gives it back. Null when none is held.
    HMODULE takeModule() noexcept;

private:
    /// A call inside the interface, on its caller's stack.
    struct CallInside {
        DWORD threadId;
        CallInside* pNext;
    };

    template <class Call> void callInterface(Call call) noexcept;
    /// The interface for the call, which `forget` and `closeInterface` wait for until it is taken off; null for none.
    IQuelLogger* putOnList(CallInside& callInside) noexcept;
    void takeOffList(const CallInside& callInside) noexcept;
    void awaitCallsOfOtherThreads() noexcept;

    SRWLOCK m_state = SRWLOCK_INIT;
    CONDITION_VARIABLE m_callEnded = CONDITION_VARIABLE_INIT;
    IQuelLogger* m_pLogger = nullptr;
    HMODULE m_hModule = nullptr;
    CallInside* m_pCallsInside = nullptr;
    unsigned m_generation = 0;
};

} // namespace tovix
