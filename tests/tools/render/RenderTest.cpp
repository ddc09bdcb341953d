#include "render/engine/SettingsPlan.h"
#include "render/sound/Demo.h"
#include "tools/render/RenderSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace tovix::render {
namespace {

constexpr auto off = "#Boost:";

struct Rendered {
    Sound sound;
    nlohmann::json report;
};

class Render : public testing::Test {
protected:
    /// Runs the program over `sound`.
    [[nodiscard]] Rendered render(const Sound& sound, std::vector<std::string> options) const {
        writeSound(folder.file("in.wav"), sound);
        options.insert(options.begin(),
                       {folder.file("in.wav"), folder.file("out.wav"), "--quiet", "--report", "json"});
        const auto outcome = runRender(options);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return {readSound(folder.file("out.wav")), nlohmann::json::parse(outcome.out)};
    }

    TestFolder folder;
};

TEST_F(Render, WithoutFiltersWritesTheInputBitForBitWhateverTheBlocks) {
    // No block length divides the file's.
    for (const int channels : {1, 2, 3, 6, 20}) {
        const auto sound = makeSound(channels, 0.1001, [](double t, int c) { return std::sin(997.0 * t + c); });
        for (const auto* const block : {"1", "441", "480", "20000"}) {
            EXPECT_EQ(render(sound, {"--set", off, "--block", block}).sound.samples, sound.samples)
                << channels << " channels, block of " << block;
        }
    }
}

TEST_F(Render, AChangeFadesInFromTheFirstBlockAtOrAfterItsMoment) {
    const auto sound = sineSound(2, 0.3, 440.0, 0.5);
    // 0.1 s lies inside the 11th block of 441 frames; a point alone is a plain gain, here of 0.1.
    const auto output = render(sound, {"--set", off, "--block", "441", "--at", "0.1", "Equalizer: 1000 -20"}).sound;
    constexpr std::size_t start = 441 * 11;
    constexpr std::size_t fadeFrames = 480;
    ASSERT_EQ(output.frames(), sound.frames());
    for (std::size_t f = 0; f < sound.frames(); ++f) {
        const double gain = f <= start ? 1.0 : f < start + fadeFrames ? 0.5 : 0.1;
        ASSERT_NEAR(output.at(f, 1), gain * sound.at(f, 1), gain == 0.5 ? 0.25 : 1e-4) << "frame " << f;
    }
    EXPECT_NEAR(output.at(start + fadeFrames / 2, 1), 0.55 * sound.at(start + fadeFrames / 2, 1), 1e-4);
}

TEST_F(Render, ReadsASettingsFileAsTheEffectReadsItsSettings) {
    writeText(folder.file("settings.txt"), "Equalizer: 1000 -20\r\n#Boost: 60 dB 1\r\n" + std::string(1, '\0') + "x");
    const auto sound = sineSound(2, 0.1, 440.0, 0.5);
    const auto [output, json] =
        render(sound, {"--settings", folder.file("settings.txt"), "--set", "#a note\nBoost: 200 dB 1"});
    const auto& lines = json["settings"]["lines"];
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0]["line"], "Equalizer: 1000 -20");
    EXPECT_EQ(lines[1]["line"], "Boost: 200 dB 1");
    EXPECT_EQ(lines[2]["line"], "#a note");
    EXPECT_NEAR(output.at(1000, 0), sound.at(1000, 0), 1e-4) << "20 dB down and 20 dB up";
}

TEST_F(Render, MeasuresLoudnessAndTruePeakOfASineAsTheyAreDefined) {
    // A stereo sine near 1 kHz reads its own peak level in LUFS.
    const auto json = render(sineSound(2, 4.0, 997.0, 0.1), {"--set", "Equalizer: 1000 6"}).report;
    for (const auto* const figure : {"integratedLufs", "truePeakDbtp"}) {
        EXPECT_NEAR(json["before"][figure].get<double>(), -20.0, 0.1) << figure;
        EXPECT_NEAR(json["after"][figure].get<double>(), -14.0, 0.1) << figure;
    }
    const auto silent = render(sineSound(2, 1.0, 997.0, 0.0), {}).report;
    EXPECT_TRUE(silent["before"]["integratedLufs"].is_null());
    EXPECT_TRUE(silent["limiter"]["peakReductionDb"].is_null());
}

TEST_F(Render, MeasuresTheLimiterWhereverItsLineStands) {
    // The peak of 0.9 is raised by 6 dB to 5.085 dB, which the limiter takes back at each crest. It acts on frames
    // above its threshold of -5.085 / (2.3 - 1) dB: a sine of this height is there 76.9 % of the time. The clean one
    // holds one gain.
    const auto sound = sineSound(2, 2.0, 441.0, 0.9);
    const auto limiterWith = [&](const std::vector<std::string>& options) {
        return render(sound, options).report["limiter"];
    };
    const std::vector<std::vector<std::string>> cases{{"--set", "Boost: 60 dB 1", "--channels-out", "1"},
                                                      {"--set", "Equalizer: 1000 0", "--set", "Boost: 60 dB 1"},
                                                      {"--set", "Boost: 60 dB 1", "--set", "Equalizer: 1000 -9"},
                                                      {"--set", "Equalizer: 1000 3", "--set", "Boost: 30 dB 1",
                                                       "--at", "0.003", "Equalizer: 1000 0", "Boost: 60 dB 1"},
                                                      {"--set", "Maximizer: 60 dB", "--set", "Equalizer: 1000 -9"}};
    for (const auto& options : cases) {
        SCOPED_TRACE(testing::PrintToString(options));
        const auto limiter = limiterWith(options);
        const double measured = limiter["measuredFrames"].get<double>();
        EXPECT_NEAR(limiter["peakReductionDb"].get<double>(), 5.085, 0.01);
        EXPECT_NEAR(limiter["limitedFrames"].get<double>() / measured, options[1][0] == 'M' ? 1.0 : 0.769, 0.01);
        EXPECT_GT(measured, 0.97 * static_cast<double>(sound.frames()));
    }
    EXPECT_EQ(limiterWith({"--set", "Boost: 60 dB 0"})["measuredFrames"], 0);
    EXPECT_EQ(limiterWith({"--set", "Boost: 60 dB 1", "--set", "Boost: 10 dB 1"})["severalBoostLines"], true);
}

TEST_F(Render, TablesHoldTheResponseAndTheLevels) {
    const auto sound = sineSound(2, 1.0, 1000.0, 0.5);
    static_cast<void>(render(sound, {"--set", "Equalizer: 100 -3 1000 6", "--response", folder.file("r.csv"),
                                     "--levels", folder.file("l.csv")}));
    int points = 0;
    for (const auto& row : readTable(folder.path() / "r.csv")) {
        points += row[0] == "point" ? 1 : 0;
        if (row[0] == "response") {
            EXPECT_NEAR(std::stod(row[3]), std::stod(row[2]), 0.05) << "at " << row[1] << " Hz";
        }
    }
    EXPECT_EQ(points, 2);
    const auto levels = readTable(folder.path() / "l.csv");
    ASSERT_EQ(levels.size(), 21U);
    const auto& row = levels[15];
    EXPECT_NEAR(std::stod(row[0]), 0.725, 1e-3);
    EXPECT_NEAR(std::stod(row[1]), -6.02, 0.02);
    EXPECT_NEAR(std::stod(row[2]), -9.03, 0.02);
    EXPECT_NEAR(std::stod(row[3]), -0.02, 0.02);
    EXPECT_EQ(row[5], "") << "there is no limiter";
}

TEST_F(Render, KeepsTheInputsSamplesAndSpeakersWhenAsked) {
    auto sound = sineSound(6, 0.1, 440.0, 0.5);
    sound.format = SF_FORMAT_WAVEX | SF_FORMAT_PCM_16;
    sound.channelMap = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT,     SF_CHANNEL_MAP_CENTER,
                        SF_CHANNEL_MAP_LFE,  SF_CHANNEL_MAP_SIDE_LEFT, SF_CHANNEL_MAP_SIDE_RIGHT};
    const auto [output, json] = render(sound, {"--set", "Equalizer: 1000 20", "--format", "input"});
    EXPECT_EQ(json["channelMask"], 0x60F);
    EXPECT_EQ(output.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_16);
    EXPECT_EQ(output.channelMap, sound.channelMap);
    EXPECT_NEAR(output.at(27, 0), 1.0, 1e-4) << "what exceeds 16 bits is clipped, not wrapped";
    EXPECT_EQ(output.at(82, 5), -1.0F);
}

TEST_F(Render, OfMoreChannelsThanTheOutputHasTheFirstOnesAreAllThatIsHeardAndMeasured) {
    // The further channels are loud enough for the limiter, the first two are not.
    const auto tone = [](double t, int c) { return (c < 2 ? 0.1 : 0.9) * std::sin(2765.0 * t + c); };
    const std::vector<std::string> options{"--set", "Boost: 60 dB 1", "--channels-out", "2"};
    const auto stereo = render(makeSound(2, 1.0, tone), options);
    const auto [output, report] = render(makeSound(6, 1.0, tone), options);
    EXPECT_EQ(output.samples, stereo.sound.samples);
    EXPECT_EQ(report["inputChannels"], 6);
    EXPECT_EQ(report["effectChannels"], 2);
    EXPECT_EQ(report["channelMask"], 0x3) << "the speakers of the output, not the file's";
    EXPECT_EQ(report["before"], stereo.report["before"]);
    EXPECT_EQ(report["limiter"], stereo.report["limiter"]);
}

TEST_F(Render, WritesUnderAnyNameAndReplacesTheInputItselfOnlyWhenDone) {
    const auto sound = sineSound(2, 0.1, 440.0, 0.5);
    writeSound(folder.file("in.wav"), sound);
    EXPECT_EQ(runRender({folder.file("in.wav"), folder.file("in.wav"), "--set", off}).status, 0);
    EXPECT_EQ(readSound(folder.file("in.wav")).samples, sound.samples);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.wav"});
    // A name that no code page of Windows holds in full.
    const std::string name = "T\u00F6ne \u97F3.wav";
    EXPECT_EQ(runRender({folder.file("in.wav"), folder.file(name), "--set", off}).status, 0);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{name, "in.wav"}));
}

TEST(Demo, IsHeldJustBelowFullScaleByTheDefaultSettings) {
    const TestFolder folder;
    const auto outcome = runRender({"--demo", folder.file("demo.wav")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto output = readSound(folder.file("demo.wav")).samples;
    EXPECT_EQ(output.size(), 20U * demoRateHz * demoChannels);
    const auto [least, most] = std::minmax_element(output.begin(), output.end());
    EXPECT_NEAR(std::max(-*least, *most), 0.995F, 0.005F + 2e-7F);
}

} // namespace
} // namespace tovix::render
