#include "exchange/SignalRelay.h"
#include "support/BecomesTrue.h"
#include "support/ImportWatch.h"
#include "support/SystemThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <optional>

namespace tovix::test {
namespace {

using Heard = SignalRelay::Heard;

/// Stands in for the event, so that two signals can come at once: what nobody takes stays there.
class Signals {
public:
    void send(LONG count) { ::ReleaseSemaphore(m_semaphore.get(), count, nullptr); }
    [[nodiscard]] LONG left() const {
        LONG count = 0;
        ::ReleaseSemaphore(m_semaphore.get(), 1, &count);
        return count;
    }
    [[nodiscard]] HANDLE handle() const { return m_semaphore.get(); }

private:
    KernelHandle m_semaphore{::CreateSemaphoreW(nullptr, 0, 100, nullptr)};
};

/// A listener that waits on a thread of its own until it has heard something or is stopped.
struct Waiting {
    Waiting(SignalRelay& relay, HANDLE hSignal)
        : listener(relay), thread([this, hSignal] { heard = listener.wait(stop.get(), hSignal); }) {}
    ~Waiting() { ::SetEvent(stop.get()); }

    std::atomic<Heard> heard{Heard::failure};
    KernelHandle stop{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    SignalRelay::Listener listener;
    SystemThread thread;
};

/// While it lives it tells how many listeners have come to their wait.
struct Waits {
    ImportWatch imports{::GetModuleHandleW(nullptr)};

    [[nodiscard]] bool become(std::uint32_t count) const {
        return becomesTrue([&] { return imports.calls("WaitForMultipleObjects") >= count; });
    }
};

TEST(SignalRelay, ModuleTakesOneSignalAndLeavesTheNextToAnotherProcess) {
    const Waits waits;
    SignalRelay relay;
    Signals signals;
    SignalRelay::Listener busy(relay);
    {
        std::list<Waiting> waiting;
        for (int i = 0; i < 4; ++i) {
            waiting.emplace_back(relay, signals.handle());
        }
        EXPECT_TRUE(waits.become(4)) << "a second taker would be at its wait";
        signals.send(2);
        int took = 0;
        int told = 0;
        for (auto& each : waiting) {
            each.thread.join();
            took += each.heard == Heard::signal ? 1 : 0;
            told += each.heard == Heard::passedOn ? 1 : 0;
        }
        EXPECT_EQ(took, 1);
        EXPECT_EQ(told, 3);
    }
    EXPECT_EQ(busy.wait(nullptr, signals.handle()), Heard::passedOn);
    EXPECT_EQ(signals.left(), 1);
}

TEST(SignalRelay, WhenTheOneThatWaitsForTheEventGoesAnotherTakesOver) {
    const Waits waits;
    SignalRelay relay;
    Signals signals;
    std::optional<Waiting> first(std::in_place, relay, signals.handle());
    EXPECT_TRUE(waits.become(1)) << "it is the one";
    Waiting second(relay, signals.handle());
    EXPECT_TRUE(waits.become(2));
    first.reset();
    signals.send(1);
    EXPECT_TRUE(becomesTrue([&] { return second.heard == Heard::signal; }));
}

} // namespace
} // namespace tovix::test
