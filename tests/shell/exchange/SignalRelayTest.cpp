#include "exchange/SignalRelay.h"
#include "support/SystemThread.h"

#include <gtest/gtest.h>

#include <array>
#include <list>

namespace tovix::test {
namespace {

using Heard = SignalRelay::Heard;

/// Stands in for the event, so that two signals can come at once: what nobody takes stays there.
class Signals {
public:
    void send(LONG count) { ::ReleaseSemaphore(m_semaphore.get(), count, nullptr); }
    [[nodiscard]] LONG left() const {
        LONG count = 0;
        while (::WaitForSingleObject(m_semaphore.get(), 0) == WAIT_OBJECT_0) {
            ++count;
        }
        return count;
    }
    [[nodiscard]] HANDLE handle() const { return m_semaphore.get(); }

private:
    KernelHandle m_semaphore{::CreateSemaphoreW(nullptr, 0, 100, nullptr)};
};

/// A listener that waits on a thread of its own, until it has heard something or is stopped.
class Waiting {
public:
    Waiting(SignalRelay& relay, HANDLE hSignal)
        : m_listener(relay), m_thread([this, hSignal] { m_heard = m_listener.wait(m_stop.get(), hSignal); }) {}
    ~Waiting() { ::SetEvent(m_stop.get()); }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    void stop() { ::SetEvent(m_stop.get()); }
    Heard heard() {
        m_thread.join();
        return m_heard;
    }

private:
    Heard m_heard = Heard::failure;
    KernelHandle m_stop{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    SignalRelay::Listener m_listener;
    SystemThread m_thread;
};

TEST(SignalRelay, ModuleTakesOneSignalAndLeavesTheNextToAnotherProcess) {
    SignalRelay relay;
    Signals signals;
    SignalRelay::Listener busy(relay);
    {
        std::list<Waiting> waiting;
        for (int i = 0; i < 4; ++i) {
            waiting.emplace_back(relay, signals.handle());
        }
        ::Sleep(50); // a second taker is at its wait by now
        signals.send(2);
        int took = 0;
        for (auto& each : waiting) {
            took += each.heard() == Heard::signal ? 1 : 0;
        }
        EXPECT_EQ(took, 1);
    }
    EXPECT_EQ(busy.wait(nullptr, signals.handle()), Heard::passedOn);
    EXPECT_EQ(signals.left(), 1);
}

TEST(SignalRelay, WhenTheOneThatWaitsForTheEventGoesAnotherTakesOver) {
    SignalRelay relay;
    Signals signals;
    Waiting first(relay, signals.handle());
    ::Sleep(50); // it waits for the event by now
    Waiting second(relay, signals.handle());
    Waiting third(relay, signals.handle());
    ::Sleep(50);
    first.stop();
    EXPECT_EQ(first.heard(), Heard::stop);
    signals.send(1);
    const std::array<Heard, 2> heard{second.heard(), third.heard()};
    EXPECT_NE(heard[0], heard[1]);
    EXPECT_TRUE(heard[0] == Heard::signal || heard[1] == Heard::signal);
    EXPECT_TRUE(heard[0] == Heard::passedOn || heard[1] == Heard::passedOn);
}

} // namespace
} // namespace tovix::test
