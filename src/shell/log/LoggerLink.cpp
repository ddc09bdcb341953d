#include "log/LoggerLink.h"

#include "system/GuardedCall.h"
#include "system/Locks.h"

#include <utility>

namespace tovix {

unsigned LoggerLink::generation() noexcept {
    const Exclusive guard(m_state);
    return m_generation;
}

bool LoggerLink::held() noexcept {
    const Exclusive guard(m_state);
    return m_pLogger != nullptr;
}

bool LoggerLink::keep(IQuelLogger* pLogger, HMODULE hModule, unsigned generation) noexcept {
    const Exclusive guard(m_state);
    if (generation != m_generation) {
        return false;
    }
    m_pLogger = pLogger;
    m_hModule = hModule;
    return true;
}

template <class Call> void LoggerLink::callInside(Call call) noexcept {
    Passing passing{::GetCurrentThreadId(), nullptr};
    IQuelLogger* const pLogger = enter(passing);
    if (pLogger != nullptr) {
        guardedCall([pLogger, &call] { call(*pLogger); });
        leave(passing);
    }
}

void LoggerLink::pass(const char* line) noexcept {
    callInside([line](IQuelLogger& logger) { logger.writeLine(line); });
}

std::int32_t LoggerLink::wantedLevel() noexcept {
    std::int32_t level = 0;
    callInside([&level](IQuelLogger& logger) { level = logger.level(); });
    return level;
}

void LoggerLink::forget() noexcept {
    const Exclusive guard(m_state);
    m_pLogger = nullptr;
    m_hModule = nullptr;
    ++m_generation;
    awaitOtherThreads();
}

IQuelLogger* LoggerLink::closeInterface() noexcept {
    const Exclusive guard(m_state);
    IQuelLogger* const pLogger = std::exchange(m_pLogger, nullptr);
    awaitOtherThreads();
    return pLogger;
}

HMODULE LoggerLink::module() noexcept {
    const Exclusive guard(m_state);
    return m_hModule;
}

HMODULE LoggerLink::takeModule() noexcept {
    const Exclusive guard(m_state);
    return std::exchange(m_hModule, nullptr);
}

IQuelLogger* LoggerLink::enter(Passing& passing) noexcept {
    const Exclusive guard(m_state);
    if (m_pLogger != nullptr) {
        passing.pNext = std::exchange(m_pPassing, &passing);
    }
    return m_pLogger;
}

void LoggerLink::leave(const Passing& passing) noexcept {
    {
        const Exclusive guard(m_state);
        Passing** ppLink = &m_pPassing;
        while (*ppLink != &passing) {
            ppLink = &(*ppLink)->pNext;
        }
        *ppLink = passing.pNext;
    }
    ::WakeAllConditionVariable(&m_left);
}

// The lock is held on entry and exit and given up while waiting.
void LoggerLink::awaitOtherThreads() noexcept {
    const DWORD self = ::GetCurrentThreadId();
    const auto othersInside = [this, self] {
        const Passing* pPassing = m_pPassing;
        while (pPassing != nullptr && pPassing->threadId == self) {
            pPassing = pPassing->pNext;
        }
        return pPassing != nullptr;
    };
    const ULONGLONG startMs = ::GetTickCount64();
    while (othersInside()) {
        const ULONGLONG waitedMs = ::GetTickCount64() - startMs;
        if (waitedMs >= IQuelLoggerUser::lineReturnLimitMs) {
            return;
        }
        const auto remainingMs = static_cast<DWORD>(IQuelLoggerUser::lineReturnLimitMs - waitedMs);
        ::SleepConditionVariableSRW(&m_left, &m_state, remainingMs, 0);
    }
}

} // namespace tovix
