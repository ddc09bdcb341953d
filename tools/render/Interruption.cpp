#include "render/Interruption.h"

#include "render/ExitStatus.h"

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
/// Runs on a thread of its own that the system starts.
BOOL WINAPI noteRequest(DWORD event) {
    requested.store(true, std::memory_order_relaxed);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        // The system ends the process when this returns, and by itself after this long; the program is faster.
        constexpr DWORD systemsPatienceMs = 5000;
        ::Sleep(systemsPatienceMs);
    }
    return TRUE;
}
#else
constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};

extern "C" void noteRequest(int) {
    requested.store(true, std::memory_order_relaxed);
}

/// One that is ignored, as in a job in the background, stays so.
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
