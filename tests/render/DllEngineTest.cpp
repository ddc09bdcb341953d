#include "RenderSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

using namespace tovix::render;

namespace {

/// A tone with loud and faint stretches, a little different in every channel.
Sound programme(int channels) {
    return makeSound(channels, 1.5, [](double t, int c) {
        const double swell = 0.5 + 0.45 * std::sin(4.0 * t);
        return swell * std::sin(6.283185 * (220.0 + 30.0 * c) * t) * (c % 2 == 0 ? 1.0 : 0.7);
    });
}

TEST(DllEngine, GivesWhatTheCoreGives) {
    struct Case {
        const char* name;
        int channels;
        std::vector<std::string> arguments;
    };
    const std::string equalizer = "Equalizer: 100 -3 1000 0 10000 6";
    const std::vector<Case> cases{
        {"limiter and equalizer", 2, {"--set", equalizer, "--set", "Boost: 60 dB 1"}},
        {"plain boost", 2, {"--set", "Boost: 90 dB 0"}},
        {"mono to stereo", 1, {"--set", equalizer, "--channels-out", "2"}},
        {"six channels, short blocks", 6, {"--set", "Boost: 120 dB 1", "--set", equalizer, "--block", "128"}},
        {"a change in mid-file", 2, {"--set", "Boost: 60 dB 1", "--at", "0.5", "Boost: 0 dB 1", equalizer}},
        {"a change that waits for a fade",
         2,
         {"--set", "Boost: 60 dB 1", "--block", "64", "--at", "0.5", "Boost: 120 dB 1", "--at", "0.502",
          "Boost: 0 dB 1"}},
    };
    for (const auto& c : cases) {
        const TestFolder folder;
        writeSound(folder.file("in.wav"), programme(c.channels));
        std::vector<std::string> arguments{folder.file("in.wav"), folder.file("core.wav"), "--quiet"};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        const Outcome core = runRender(arguments);
        ASSERT_EQ(core.status, 0) << c.name << ": " << core.err;
        arguments[1] = folder.file("dll.wav");
        const Outcome dll = runProgramAsIs(arguments);
        ASSERT_EQ(dll.status, 0) << c.name << ": " << dll.err;
        const Sound expected = readSound(folder.file("core.wav"));
        const Sound rendered = readSound(folder.file("dll.wav"));
        ASSERT_EQ(rendered.samples.size(), expected.samples.size()) << c.name;
        float largest = 0.0F;
        for (std::size_t i = 0; i < expected.samples.size(); ++i) {
            largest = std::max(largest, std::fabs(rendered.samples[i] - expected.samples[i]));
        }
        EXPECT_LE(largest, 1e-6F) << c.name;
    }
}

TEST(DllEngine, SaysWhatKeepsALibraryFromBeingUsed) {
    const TestFolder folder;
    writeSound(folder.file("in.wav"), programme(1));
    const auto run = [&folder](const std::string& library) {
        return runProgramAsIs({folder.file("in.wav"), folder.file("out.wav"), "--dll", library});
    };
    writeText(folder.file("text.dll"), "no library at all");
    EXPECT_NE(run(folder.file("text.dll")).err.find("cannot be loaded"), std::string::npos);
    EXPECT_NE(run("kernel32.dll").status, 0);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.wav", "text.dll"}));
}

} // namespace
