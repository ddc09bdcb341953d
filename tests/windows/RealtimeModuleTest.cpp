#include "support/ImportWatch.h"
#include "support/ModuleUnderTest.h"
#include "support/SectionWatch.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <xmmintrin.h>

namespace tovix::test {
namespace {

constexpr UINT32 blockFrames = 48;
constexpr const char* everyFilter = "Boost: 120 dB 0\nBoost: 60 dB 1\nEqualizer: 100 -3 1000 0 10000 6";

/// A module whose imports are watched, with one locked effect.
class Watched {
public:
    explicit Watched(DWORD inputChannels = 2, DWORD outputChannels = 2)
        : m_inputChannels(inputChannels), m_outputChannels(outputChannels) {
        EXPECT_EQ(effect.lock(floatFormat(inputChannels), floatFormat(outputChannels), blockFrames), S_OK);
        awaitIdleThread(1);
    }
    ~Watched() { effect.config->UnlockForProcess(); }

    /// Announces new settings and waits until their chain is ready to fade in.
    void change(const char* text) {
        watch.reset();
        settings.change(text);
        awaitIdleThread(2); // one wait for the chain's slot, one for the next update
    }

    /// Processes blocks; nothing but `APOProcess` is inside the module meanwhile.
    void play(int blocks, UINT32 frames = blockFrames, APO_BUFFER_FLAGS flags = BUFFER_VALID) {
        for (int i = 0; i < blocks; ++i) {
            effect.process(std::vector<float>(frames * m_inputChannels, 20.0F), m_inputChannels, m_outputChannels,
                           flags);
        }
    }

    ModuleUnderTest module;
    ImportWatch watch{module.handle()};
    SettingsWriter settings{""};
    Effect effect{module.create()};

private:
    void awaitIdleThread(std::uint32_t waits) {
        for (int i = 0; i < 10000 && watch.calls("WaitForMultipleObjects") < waits; ++i) {
            ::Sleep(1);
        }
        ::Sleep(10);
    }

    DWORD m_inputChannels;
    DWORD m_outputChannels;
};

/// Every way through `APOProcess`: bypass, a fade to every filter and back, too long blocks, silent and invalid ones.
void playEverything(Watched& watched) {
    watched.play(2);
    watched.change(everyFilter);
    watched.watch.reset();
    watched.play(12);
    watched.play(2, 3 * blockFrames + 5);
    watched.play(2, blockFrames, BUFFER_SILENT);
    watched.play(2, blockFrames, BUFFER_INVALID);
}

TEST(RealtimeModule, CallsNothingOfTheSystemButTheSemaphoresReleaseAndCopies) {
    const std::pair<DWORD, DWORD> channelCounts[] = {{2, 2}, {1, 2}, {6, 6}, {3, 5}};
    for (const auto& [inputs, outputs] : channelCounts) {
        Watched watched(inputs, outputs);
        playEverything(watched);
        auto calls = watched.watch.calls();
        EXPECT_EQ(calls["ReleaseSemaphore"], 1U); // one fade has ended
        for (const auto& [name, count] : calls) {
            const bool allowed =
                name == "ReleaseSemaphore" || name == "memcpy" || name == "memmove" || name == "memset";
            EXPECT_TRUE(allowed || count == 0) << name << " from " << inputs << " to " << outputs;
        }
    }
}

TEST(RealtimeModule, WatchNoticesACallOfTheModule) {
    Watched watched;
    watched.watch.reset();
    APO_REG_PROPERTIES* pRecord = nullptr;
    ASSERT_EQ(watched.effect.apo->GetRegistrationProperties(&pRecord), S_OK);
    ::CoTaskMemFree(pRecord);
    EXPECT_EQ(watched.watch.calls("CoTaskMemAlloc"), 1U);
}

TEST(RealtimeModule, WholePathLiesInTheRealtimeSection) {
    // What the path may use besides: transforms, elementary functions, copies.
    const std::set<std::string> libraries{"fftwf_execute", "cosf", "exp", "log", "memcpy", "memmove", "memset"};
    Watched watched;
    watched.change(everyFilter);
    const SectionWatch sections(watched.module.handle(), programFolder() / "Tovix64.dll");
    watched.play(12);
    watched.play(2, 3 * blockFrames + 5);
    watched.play(2, blockFrames, BUFFER_SILENT);
    watched.play(2, blockFrames, BUFFER_INVALID);
    EXPECT_EQ(watched.effect.rt->CalcInputFrames(1), 1U);
    const auto entered = sections.entered();
    EXPECT_EQ(entered.count("fftwf_execute"), 1U); // the watch sees calls, and names them
    for (const std::string& name : entered) {
        EXPECT_EQ(libraries.count(name), 1U) << name;
    }
}

TEST(RealtimeModule, LeavesTheCallersFloatingPointStateAlone) {
    Watched watched;
    watched.change(everyFilter);
    const unsigned before = _mm_getcsr();
    for (const unsigned control : {0x1F80U, 0x9FC0U, 0x3F80U}) {
        _mm_setcsr(control);
        watched.play(1);
        EXPECT_EQ(_mm_getcsr(), control);
        _mm_setcsr(before);
    }
}

void* noMemory(std::size_t) {
    return nullptr;
}

TEST(RealtimeModule, BuildWithoutMemoryLosesNoLaterChange) {
    Watched watched;
    auto* const pMalloc = moduleExport<void*(std::size_t)>(::GetModuleHandleW(L"msvcrt.dll"), "malloc");
    for (const char* const text : {everyFilter, "Boost: 20 dB 1"}) {
        watched.watch.redirect("malloc", reinterpret_cast<const void*>(&noMemory));
        watched.change(text); // cannot be built
        watched.watch.redirect("malloc", reinterpret_cast<const void*>(pMalloc));
        EXPECT_EQ(watched.watch.calls("ReleaseSemaphore"), 1U);
        watched.play(12);
        EXPECT_EQ(watched.watch.calls("ReleaseSemaphore"), 1U);
        watched.change(text);
        watched.watch.reset();
        watched.play(12);
        EXPECT_EQ(watched.watch.calls("ReleaseSemaphore"), 1U);
    }
}

} // namespace
} // namespace tovix::test
