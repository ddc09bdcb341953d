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

template <class Call> void LoggerLink::callInterface(Call call) noexcept {
    CallInside callInside{::GetCurrentThreadId(), nullptr};
    IQuelLogger* const pLogger = putOnList(callInside);
    if (pLogger != nullptr) {
        guardedCall([pLogger, &call] { call(*pLogger); });
        takeOffList(callInside);
    }
}

void LoggerLink::pass(const char* line) noexcept {
    callInterface([line](IQuelLogger& logger) { logger.writeLine(line); });
}

std::int32_t LoggerLink::wantedLevel() noexcept {
    std::int32_t level = 0;
    callInterface([&level](IQuelLogger& logger) { level = logger.level(); });
    return level;
}

void LoggerLink::forget() noexcept {
    const Exclusive guard(m_state);
    m_pLogger = nullptr;
    m_hModule = nullptr;
    ++m_generation;
    awaitCallsOfOtherThreads();
}

IQuelLogger* LoggerLink::closeInterface() noexcept {
    const Exclusive guard(m_state);
    IQuelLogger* const pLogger = std::exchange(m_pLogger, nullptr);
    awaitCallsOfOtherThreads();
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

IQuelLogger* LoggerLink::putOnList(CallInside& callInside) noexcept {
    const Exclusive guard(m_state);
    if (m_pLogger != nullptr) {
        callInside.pNext = std::exchange(m_pCallsInside, &callInside);
    }
    return m_pLogger;
}

void LoggerLink::takeOffList(const CallInside& callInside) noexcept {
    {
        const Exclusive guard(m_state);
        CallInside** ppLink = &m_pCallsInside;
        while (*ppLink != &callInside) {
            ppLink = &(*ppLink)->pNext;
        }
        *ppLink = callInside.pNext;
    }
    ::WakeAllConditionVariable(&m_callEnded);
}

// The lock is held on entry and exit and given up while waiting.
void LoggerLink::awaitCallsOfOtherThreads() noexcept {
    const DWORD self = ::GetCurrentThreadId();
    const auto othersInside = [this, self] {
        const CallInside* pCall = m_pCallsInside;
        while (pCall != nullptr && pCall->threadId == self) {
            pCall = pCall->pNext;
        }
        return pCall != nullptr;
    };
    const ULONGLONG startMs = ::GetTickCount64();
    while (othersInside()) {
        const ULONGLONG waitedMs = ::GetTickCount64() - startMs;
        if (waitedMs >= IQuelLoggerUser::lineReturnLimitMs) {
            return;
        }
        const auto remainingMs = static_cast<DWORD>(IQuelLoggerUser::lineReturnLimitMs - waitedMs);
        ::SleepConditionVariableSRW(&m_callEnded, &m_state, remainingMs, 0);
    }
}

} // namespace tovix
