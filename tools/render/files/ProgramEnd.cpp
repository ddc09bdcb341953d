#include "render/files/ProgramEnd.h"

#include <algorithm>
#include <atomic>
#include <thread>

#ifdef _WIN32
#include <windows.h>
#else
#include <array>
#include <csignal>
#endif

namespace tovix::render {
namespace {

std::atomic<bool> requested{false};
static_assert(std::atomic<bool>::is_always_lock_free);

#ifdef _WIN32
/// Runs on a thread that the system starts for it.
BOOL WINAPI noteRequest(DWORD event) {
    requested.store(true, std::memory_order_relaxed);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        // The console closes or the user logs off: the system ends the process when this function returns, or after
        // 5 s. Staying here leaves the program's thread that time to remove its files; its end ends the process.
        constexpr DWORD systemLimitMs = 5000;
        ::Sleep(systemLimitMs);
    }
    return TRUE;
}
#else
constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};

extern "C" void noteRequest(int) {
    requested.store(true, std::memory_order_relaxed);
}

/// A signal that is ignored, as in a background job, stays ignored.
void handleSignals(void (*handler)(int)) noexcept {
    for (const int signal : signals) {
        if (std::signal(signal, handler) == SIG_IGN) {
            std::signal(signal, SIG_IGN);
        }
    }
}
#endif

} // namespace

Interruption::Interruption() noexcept {
    requested.store(false, std::memory_order_relaxed);
#ifdef _WIN32
    ::SetConsoleCtrlHandler(&noteRequest, TRUE);
#else
    handleSignals(noteRequest);
#endif
}

Interruption::~Interruption() {
#ifdef _WIN32
    ::SetConsoleCtrlHandler(&noteRequest, FALSE);
#else
    handleSignals(SIG_DFL);
#endif
}

void Interruption::check() {
    if (requested.load(std::memory_order_relaxed)) {
        throw RenderError(ExitStatus::interrupted, "interrupted; nothing was written.");
    }
}

void Interruption::sleepUntil(std::chrono::steady_clock::time_point end) {
    constexpr std::chrono::milliseconds slice(50);
    for (auto now = std::chrono::steady_clock::now(); now < end; now = std::chrono::steady_clock::now()) {
        check();
        std::this_thread::sleep_until(std::min(end, now + slice));
    }
}

} // namespace tovix::render
