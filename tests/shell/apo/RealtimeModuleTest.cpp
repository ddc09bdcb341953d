#include "support/ModuleStream.h"
#include "support/SectionWatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <utility>

namespace tovix::test {
namespace {

/// A low rate, and so a short fade of four blocks: the watch of the sections is slow.
constexpr float rateHz = 8000.0F;
constexpr UINT32 blockFrames = 20;
constexpr const char* everyFilter =
    "Boost: 120 dB 0\nBoost: 60 dB 1\nEqualizer: 100 -3 1000 0 10000 6\nMaximizer: 60 dB -10";

struct Stream {
    DWORD inputs = 2;
    DWORD outputs = 2;
    Previous previous = Previous::none;
};

/// A stream of a module whose sections are watched, too.
class Watched : public ModuleStream {
public:
    explicit Watched(const Stream& stream = {})
        : ModuleStream({rateHz, 0, stream.inputs, stream.outputs, 0, blockFrames}, "", stream.previous) {}

    /// Waits until the chain is ready to fade in, and a little longer, until the thread that built it is out of the
    /// module.
    void change(const std::string& filters) override {
        ModuleStream::change(filters);
        ::Sleep(10);
    }

    /// Processes blocks under both watches; nothing but `APOProcess` is inside the module meanwhile.
    void playBlocks(int blocks, UINT32 frames = blockFrames, APO_BUFFER_FLAGS flags = BUFFER_VALID) {
        watch.reset();
        sections.watch();
        for (int i = 0; i < blocks; ++i) {
            effect.process(std::vector<float>(frames * format().inputChannels, 20.0F), format().inputChannels,
                           format().outputChannels, flags);
        }
        sections.rest();
        for (const auto& [name, count] : watch.calls()) {
            calls[name] += count;
        }
    }

    /// Every way through `APOProcess`: bypass where the channel counts allow it, a fade to every filter and back,
    /// too long blocks, silent, invalid and empty ones.
    void playEverything() {
        for (const char* const filters : {everyFilter, ""}) {
            playBlocks(2);
            change(filters);
            playBlocks(5);
            playBlocks(2, 3 * blockFrames + 5);
            playBlocks(2, blockFrames, BUFFER_SILENT);
            playBlocks(2, blockFrames, BUFFER_INVALID);
            playBlocks(2, 0);
        }
    }

    [[nodiscard]] bool previousRan() const {
        return std::count(previousEffect.calls.begin(), previousEffect.calls.end(), "process") > 0;
    }

    SectionWatch sections{module.handle(), programFolder() / "Tovix64.dll.debug"};
    /// The module's calls during `play` so far.
    std::map<std::string, std::uint32_t> calls;
};

constexpr Stream streams[] = {
    {1, 1, Previous::none},     {2, 2, Previous::none},    {6, 6, Previous::none},     {8, 8, Previous::none},
    {1, 2, Previous::none},     {3, 5, Previous::none},    {6, 2, Previous::none},     {2, 2, Previous::running},
    {1, 8, Previous::running},  {6, 2, Previous::running}, {2, 2, Previous::unwanted}, {1, 6, Previous::unwanted},
    {6, 2, Previous::unwanted},
};

TEST(RealtimeModule, WholePathLiesInItsSectionAndCallsNothingOfTheSystemButTheSemaphoresRelease) {
    const std::set<std::string> allowed{"ReleaseSemaphore", "memcpy", "memmove", "memset"};
    // What the path may use besides, of the module itself: transforms where the processor is too old for others,
    // elementary functions, copies.
    const std::set<std::string> libraries{"fftwf_execute", "exp", "memcpy", "memmove", "memset"};
    for (const Stream& stream : streams) {
        SCOPED_TRACE(testing::Message() << stream.inputs << " into " << stream.outputs);
        Watched watched(stream);
        watched.playEverything();
        EXPECT_EQ(watched.effect.rt->CalcInputFrames(441), 441U);
        EXPECT_EQ(watched.effect.rt->CalcOutputFrames(7), 7U);
        EXPECT_EQ(watched.previousRan(), stream.previous == Previous::running);
        EXPECT_EQ(watched.calls["ReleaseSemaphore"], 2U); // two fades have ended
        for (const auto& [name, count] : watched.calls) {
            EXPECT_EQ(allowed.count(name), 1U) << name;
        }
        for (const std::string& name : watched.sections.entered()) {
            EXPECT_EQ(libraries.count(name), 1U) << name;
        }
        watched.sections.watch();
        EXPECT_EQ(watched.module.canUnloadNow(), S_FALSE);
        watched.sections.rest();
        EXPECT_EQ(watched.sections.entered().count("DllCanUnloadNow"), 1U) << "the watch is blind";
    }
}

IAudioProcessingObject* pPlanted = nullptr;

/// A copy, before which the module allocates once.
void* copyWithPlantedCall(void* pTo, const void* pFrom, std::size_t bytes) {
    if (auto* const pApo = std::exchange(pPlanted, nullptr)) {
        APO_REG_PROPERTIES* pRecord = nullptr;
        EXPECT_EQ(pApo->GetRegistrationProperties(&pRecord), S_OK);
        ::CoTaskMemFree(pRecord);
    }
    return std::memmove(pTo, pFrom, bytes);
}

TEST(RealtimeModule, WatchNoticesACallPlantedInABlock) {
    Watched watched;
    watched.watch.redirect("memcpy", &copyWithPlantedCall);
    pPlanted = watched.effect.apo.get();
    watched.playBlocks(1); // the bypass copies
    EXPECT_EQ(watched.calls["CoTaskMemAlloc"], 1U);
}

} // namespace
} // namespace tovix::test
