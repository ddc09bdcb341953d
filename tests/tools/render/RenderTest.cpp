#include "render/engine/SettingsPlan.h"
#include "render/sound/Demo.h"
#include "tools/render/RenderSupport.h"

#include <nlohmann/json.hpp>
#include <sndfile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace tovix::render {
namespace {

constexpr auto off = "#Boost:";

/// Runs the program over `sound` and returns what it wrote.
Sound rendered(const TestFolder& folder, const Sound& sound, std::vector<std::string> options) {
    writeSound(folder.file("in.wav"), sound);
    options.insert(options.begin(), {folder.file("in.wav"), folder.file("out.wav"), "--quiet"});
    const auto outcome = runRender(options);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return readSound(folder.file("out.wav"));
}

nlohmann::json reportOf(const TestFolder& folder, const Sound& sound, std::vector<std::string> options) {
    writeSound(folder.file("in.wav"), sound);
    options.insert(options.begin(), {folder.file("in.wav"), folder.file("out.wav"), "--report", "json"});
    const auto outcome = runRender(options);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return nlohmann::json::parse(outcome.out);
}

TEST(Render, WithoutFiltersWritesTheInputBitForBitWhateverTheBlocks) {
    const TestFolder folder;
    // No block length divides the file's.
    for (const int channels : {1, 2, 3, 6, 20}) {
        const auto sound = makeSound(channels, 0.1001, [](double t, int c) { return std::sin(997.0 * t + c); });
        for (const auto* const block : {"1", "441", "480", "20000"}) {
            EXPECT_EQ(rendered(folder, sound, {"--set", off, "--block", block}).samples, sound.samples)
                << channels << " channels, block of " << block;
        }
    }
}

TEST(Render, AChangeFadesInFromTheFirstBlockAtOrAfterItsMoment) {
    const TestFolder folder;
    const auto sound = sineSound(2, 0.3, 440.0, 0.5);
    // 0.1 s lies inside the 11th block of 441 frames; a point alone is a plain gain, here of 0.1.
    const auto output =
        rendered(folder, sound, {"--set", off, "--block", "441", "--at", "0.1", "Equalizer: 1000 -20"});
    constexpr std::size_t start = 441 * 11;
    constexpr double fadeFrames = 480;
    ASSERT_EQ(output.frames(), sound.frames());
    for (std::size_t f = 0; f < sound.frames(); ++f) {
        const double position = std::clamp(static_cast<double>(f) - static_cast<double>(start), 0.0, fadeFrames);
        const double weight = 0.5 - 0.5 * std::cos(std::numbers::pi * position / fadeFrames);
        const double gain = 1.0 - weight + 0.1 * weight;
        ASSERT_NEAR(output.at(f, 1), gain * sound.at(f, 1), 1e-4) << "frame " << f;
    }
}

TEST(Render, ReadsASettingsFileAsTheEffectReadsItsSettings) {
    const TestFolder folder;
    writeText(folder.file("settings.txt"), "Equalizer: 1000 -20\r\n#Boost: 60 dB 1\r\n" + std::string(1, '\0') + "x");
    const auto sound = sineSound(2, 0.1, 440.0, 0.5);
    const auto json =
        reportOf(folder, sound, {"--settings", folder.file("settings.txt"), "--set", "#a note\nBoost: 200 dB 1"});
    ASSERT_EQ(json["settings"]["lines"].size(), 3U);
    EXPECT_EQ(json["settings"]["lines"][0]["line"], "Equalizer: 1000 -20");
    EXPECT_EQ(json["settings"]["lines"][1]["line"], "Boost: 200 dB 1");
    EXPECT_EQ(json["settings"]["lines"][2]["line"], "#a note");
    const auto output = readSound(folder.file("out.wav"));
    EXPECT_NEAR(output.at(1000, 0), sound.at(1000, 0), 1e-4) << "20 dB down and 20 dB up";
}

TEST(Render, MeasuresLoudnessAndTruePeakOfASineAsTheyAreDefined) {
    const TestFolder folder;
    // A stereo sine near 1 kHz reads its own peak level in LUFS.
    const auto json = reportOf(folder, sineSound(2, 4.0, 997.0, 0.1), {"--set", "Equalizer: 1000 6"});
    EXPECT_NEAR(json["before"]["integratedLufs"].get<double>(), -20.0, 0.1);
    EXPECT_NEAR(json["after"]["integratedLufs"].get<double>(), -14.0, 0.1);
    EXPECT_NEAR(json["before"]["truePeakDbtp"].get<double>(), -20.0, 0.1);
    EXPECT_NEAR(json["after"]["truePeakDbtp"].get<double>(), -14.0, 0.1);
    const auto silent = reportOf(folder, sineSound(2, 1.0, 997.0, 0.0), {});
    EXPECT_TRUE(silent["before"]["integratedLufs"].is_null());
    EXPECT_TRUE(silent["limiter"]["peakReductionDb"].is_null());
}

TEST(Render, MeasuresTheLimiterWhereverItsLineStands) {
    const TestFolder folder;
    // The peak of 0.9 is raised by 6 dB to 5.085 dB, which the limiter takes back at each crest. It acts on frames
    // above its threshold of -5.085 / (2.3 - 1) dB: a sine of this height is there 76.9 % of the time.
    const auto sound = sineSound(2, 2.0, 441.0, 0.9);
    const std::vector<std::vector<std::string>> cases{{"--set", "Boost: 60 dB 1"},
                                                      {"--set", "Equalizer: 1000 0", "--set", "Boost: 60 dB 1"},
                                                      {"--set", "Boost: 60 dB 1", "--set", "Equalizer: 1000 -9"},
                                                      {"--set", "Equalizer: 1000 3", "--set", "Boost: 30 dB 1",
                                                       "--at", "0.003", "Equalizer: 1000 0", "Boost: 60 dB 1"},
                                                      {"--set", "Boost: 60 dB 1", "--channels-out", "1"}};
    for (const auto& options : cases) {
        const auto limiter = reportOf(folder, sound, options)["limiter"];
        const double measured = limiter["measuredFrames"].get<double>();
        EXPECT_NEAR(limiter["peakReductionDb"].get<double>(), 5.085, 0.01) << testing::PrintToString(options);
        EXPECT_NEAR(limiter["limitedFrames"].get<double>() / measured, 0.769, 0.01)
            << testing::PrintToString(options);
        EXPECT_GT(measured, 0.97 * static_cast<double>(sound.frames()));
    }
    const auto plain = reportOf(folder, sound, {"--set", "Boost: 60 dB 0"})["limiter"];
    EXPECT_EQ(plain["measuredFrames"], 0);
    const auto two = reportOf(folder, sound, {"--set", "Boost: 60 dB 1", "--set", "Boost: 10 dB 1"})["limiter"];
    EXPECT_TRUE(two["severalBoostLines"].get<bool>());
}

TEST(Render, TablesHoldTheResponseAndTheLevels) {
    const TestFolder folder;
    const auto sound = sineSound(2, 1.0, 1000.0, 0.5);
    rendered(
        folder, sound,
        {"--set", "Equalizer: 100 -3 1000 6", "--response", folder.file("r.csv"), "--levels", folder.file("l.csv")});
    int points = 0;
    for (const auto& row : readTable(folder.file("r.csv"))) {
        points += row[0] == "point" ? 1 : 0;
        if (row[0] == "response") {
            EXPECT_NEAR(std::stod(row[3]), std::stod(row[2]), 0.05) << "at " << row[1] << " Hz";
        }
    }
    EXPECT_EQ(points, 2);
    const auto levels = readTable(folder.file("l.csv"));
    ASSERT_EQ(levels.size(), 21U);
    const auto& row = levels[15];
    EXPECT_NEAR(std::stod(row[0]), 0.725, 1e-3);
    EXPECT_NEAR(std::stod(row[1]), -6.02, 0.02);
    EXPECT_NEAR(std::stod(row[2]), -9.03, 0.02);
    EXPECT_NEAR(std::stod(row[3]), -0.02, 0.02);
    EXPECT_EQ(row[5], "") << "there is no limiter";
}

TEST(Render, KeepsTheInputsSamplesAndSpeakersWhenAsked) {
    const TestFolder folder;
    auto sound = sineSound(6, 0.1, 440.0, 0.5);
    sound.format = SF_FORMAT_WAVEX | SF_FORMAT_PCM_16;
    sound.channelMap = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT,     SF_CHANNEL_MAP_CENTER,
                        SF_CHANNEL_MAP_LFE,  SF_CHANNEL_MAP_SIDE_LEFT, SF_CHANNEL_MAP_SIDE_RIGHT};
    const auto json = reportOf(folder, sound, {"--set", "Equalizer: 1000 20", "--format", "input"});
    EXPECT_EQ(json["channelMask"], 0x60F);
    const auto output = readSound(folder.file("out.wav"));
    EXPECT_EQ(output.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_16);
    EXPECT_EQ(output.channelMap, sound.channelMap);
    const auto [least, most] = std::minmax_element(output.samples.begin(), output.samples.end());
    EXPECT_NEAR(*most, 1.0, 1e-4) << "what exceeds 16 bits is clipped, not wrapped";
    EXPECT_NEAR(output.at(27, 0), 1.0, 1e-4);
    EXPECT_EQ(*least, -1.0F);
}

TEST(Render, OfMoreChannelsThanTheOutputHasTheFirstOnesAreAllThatIsHeardAndMeasured) {
    const TestFolder folder;
    // The further channels are loud enough for the limiter, the first two are not.
    const auto tone = [](double t, int c) { return (c < 2 ? 0.1 : 0.9) * std::sin(2765.0 * t + c); };
    const std::vector<std::string> options{"--set", "Boost: 60 dB 1", "--channels-out", "2"};
    const auto stereo = reportOf(folder, makeSound(2, 1.0, tone), options);
    const auto expected = readSound(folder.file("out.wav")).samples;
    auto report = reportOf(folder, makeSound(6, 1.0, tone), options);
    EXPECT_EQ(readSound(folder.file("out.wav")).samples, expected);
    EXPECT_EQ(report["inputChannels"], 6);
    EXPECT_EQ(report["effectChannels"], 2);
    EXPECT_EQ(report["channelMask"], 0x3) << "the speakers of the output, not the file's";
    EXPECT_EQ(report["before"], stereo["before"]);
    EXPECT_EQ(report["limiter"], stereo["limiter"]);
}

TEST(Render, WritesUnderAnyNameAndReplacesTheInputItselfOnlyWhenDone) {
    const TestFolder folder;
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

TEST(Demo, HasAPassageFarBelowFullScaleAndOneCloseToItAndIsHeldByTheDefaultSettings) {
    const auto programme = makeDemoProgramme();
    ASSERT_EQ(programme.size(), 20U * demoRateHz * demoChannels);
    const auto peakOf = [](auto begin, auto end) {
        return std::fabs(*std::max_element(begin, end, [](float a, float b) { return std::fabs(a) < std::fabs(b); }));
    };
    EXPECT_GT(peakOf(programme.begin(), programme.end()), 0.9);
    EXPECT_LT(peakOf(programme.begin(), programme.end()), 1.0);
    const auto second = static_cast<std::ptrdiff_t>(demoRateHz * demoChannels);
    EXPECT_LT(peakOf(programme.begin() + 13 * second, programme.begin() + 14 * second), 0.002);
    EXPECT_EQ(programme, makeDemoProgramme());

    const TestFolder folder;
    const auto outcome = runRender({"--demo", folder.file("demo.wav")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto output = readSound(folder.file("demo.wav"));
    EXPECT_EQ(output.samples.size(), programme.size());
    EXPECT_LE(peakOf(output.samples.begin(), output.samples.end()), 1.0F + 2e-7F);
    EXPECT_GT(peakOf(output.samples.begin(), output.samples.end()), 0.99F);
}

} // namespace
} // namespace tovix::render
