#pragma once

#include "manager/EffectManager.h"
#include "support/BecomesTrue.h"
#include "support/LogCapture.h"

#include <atomic>
#include <list>

namespace tovix::test {

/// Effects of this process, under settings whose every build is counted and can be held up. They have no channel: no
/// chain is pending after a build, so that nothing must be played before the next.
class BuildingEffects {
public:
    /// Every build of this text logs a line.
    static constexpr const char* text = "Boost: loud";
    static bool isOfABuild(const std::string& line) {
        return line.find("Couldn't create boost filter") != std::string::npos;
    }

    explicit BuildingEffects(int count) {
        for (int i = 0; i < count; ++i) {
            m_managers.emplace_back().initializeManager({48000.0F, 0, 0, 0, 0, 480});
        }
    }
    ~BuildingEffects() { release(); }

    /// Counts from here on, and lets no build end.
    void hold() {
        m_builds = 0;
        ::ResetEvent(m_mayEnd.get());
    }
    void release() { ::SetEvent(m_mayEnd.get()); }

    /// The builds since `hold` once there are `expected`, or when they have been waited for in vain.
    [[nodiscard]] int awaitBuilds(int expected) const {
        static_cast<void>(becomesTrue([&] { return m_builds >= expected; }));
        return m_builds;
    }

private:
    void onLine(const std::string& line) {
        if (isOfABuild(line)) {
            ++m_builds;
            ::WaitForSingleObject(m_mayEnd.get(), INFINITE);
        }
    }

    std::atomic<int> m_builds{0};
    KernelHandle m_mayEnd{::CreateEventW(nullptr, TRUE, TRUE, nullptr)};
    BriefLog m_log{[this](const std::string& line) { onLine(line); }};
    std::list<EffectManager> m_managers;
};

} // namespace tovix::test
