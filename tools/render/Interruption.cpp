#include "Interruption.h"

#include "ExitStatus.h"

#include <array>
#include <atomic>
#include <csignal>

namespace tovix::render {
namespace {

#ifdef SIGHUP
constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};
#else
constexpr std::array signals{SIGINT, SIGTERM};
#endif

std::atomic<bool> requested{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void noteRequest(int) {
    requested.store(true, std::memory_order_relaxed);
}

} // namespace

Interruption::Interruption() noexcept {
    requested.store(false, std::memory_order_relaxed);
    for (const int signal : signals) {
        // One that is ignored, as in a job in the background, stays so.
        if (std::signal(signal, noteRequest) == SIG_IGN) {
            std::signal(signal, SIG_IGN);
        }
    }
}

Interruption::~Interruption() {
    for (const int signal : signals) {
        if (std::signal(signal, SIG_DFL) == SIG_IGN) {
            std::signal(signal, SIG_IGN);
        }
    }
}

void Interruption::check() {
    if (requested.load(std::memory_order_relaxed)) {
        throw RenderError(ExitStatus::interrupted, "interrupted; nothing was written.");
    }
}

} // namespace tovix::render
