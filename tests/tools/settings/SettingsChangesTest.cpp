#include "settings/SettingsChanges.h"

#include "settings/SettingsRules.h"
#include "tools/RefusalOf.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace tovix {
namespace {

using test::refusalOf;

constexpr const char* effectDefault = "#Boost: 0 dB 0\n#EnableOldApo:";
/// What a boost adds to a text without one.
constexpr std::string_view oneBoost = "\nBoost: 60 dB 1";

ChangedSettings equalizer(std::string_view text, std::string_view points,
                          std::optional<std::size_t> fit = std::nullopt) {
    return changeEqualizer(text, readPointList(points), fit);
}

using Change = std::function<ChangedSettings(const std::string& text)>;

using enum BoostKind;

Change boost(const char* level, BoostKind kind) {
    return [=](const auto& text) { return changeBoost(text, level, kind); };
}

Change boostLines(bool on) {
    return [=](const auto& text) { return switchBoost(text, on); };
}

Change points(const char* list) {
    return [=](const auto& text) { return equalizer(text, list); };
}

Change oldApo(bool on) {
    return [=](const auto& text) { return changePreviousEffect(text, on); };
}

Change lines(const std::vector<std::string>& lines, bool replaceAll = false) {
    return [=](const auto& text) { return setLines(text, lines, replaceAll); };
}

TEST(SettingsChanges, EachCommandWritesItsLineAndKeepsTheOthersByteForByte) {
    const struct {
        std::string before;
        Change change;
        std::string after;
    } cases[] = {
        {"", boost("6.05", plain), "Boost: 61 dB 0"},
        {effectDefault, boost("0.7", limited), "Boost: 7 dB 1\n#EnableOldApo:"},
        {"x  y\nBoost:1dB1\n\nBoost: 2 dB 0\n# a note", boost("0,5 dB", plain), "x  y\nBoost: 5 dB 0\n\n# a note"},
        {"A:\r\nBoost: 60 dB 1", boostLines(false), "A:\n#Boost: 60 dB 1"},
        {"#Boost: 60 dB 1\n#EnableOldApo:", boostLines(true), "Boost: 60 dB 1\n#EnableOldApo:"},
        {"#Boosted: 1\n#Boost: 60 dB 1\n#Boost: 5 dB 0", boostLines(true),
         "#Boosted: 1\nBoost: 60 dB 1\nBoost: 5 dB 0"},
        {effectDefault, boost("6", clean), "Maximizer: 60 dB\n#EnableOldApo:"},
        {"Maximizer: 60 dB -10\nA:\nBoost: 1 dB 0", boost("9", limited), "Boost: 90 dB 1\nA:"},
        {"Boost: 1 dB 0\n#Maximizer: 60 dB -10\nMaximizer: 1 dB -3", boost("9", clean), "Maximizer: 90 dB -10"},
        {"Maximizer: loud -7\nMaximizer: 60 dB -300", boost("9", clean), "Maximizer: 90 dB -200"},
        {"Maximizer: 60 dB -10\n#Boost: 1 dB 0", boostLines(false), "#Maximizer: 60 dB -10\n#Boost: 1 dB 0"},
        {"Maximizer: 60 dB", points("100 -3"), "Equalizer: 100 -3\nMaximizer: 60 dB"},
        {"", lines({"Maximizer: -5 dB 0"}), "Maximizer: -5 dB 0"},
        {effectDefault, points("100 -3 1000 0 10000 6"),
         "Equalizer: 100 -3 1000 0 10000 6\n#Boost: 0 dB 0\n#EnableOldApo:"},
        {"Boost: 9 dB 0\n#Equalizer: 1 1", points("20.50 -3,10"), "Boost: 9 dB 0\nEqualizer: 20.5 -3.1"},
        {effectDefault, oldApo(true), "#Boost: 0 dB 0\nEnableOldApo:"},
        {"EnableOldApo:\nBoost: 1 dB 0", oldApo(false), "#EnableOldApo:\nBoost: 1 dB 0"},
        {effectDefault, lines({"Boost: 30 dB 1", "#note"}), "Boost: 30 dB 1\n#EnableOldApo:\n#note"},
        {"A:\nBoost: 1 dB 0", lines({"EnableOldApo:"}, true), "EnableOldApo:"},
        {"Boost: 1 dB 0\nE: 1\r\nBoost: 2 dB 0\n# a: note", lines({"Boost: 3 dB 0", "#Boost: 4 dB 0"}),
         "Boost: 3 dB 0\n#Boost: 4 dB 0\nE: 1\n# a: note"},
        {"Boost: 1 dB 0", lines({"#E: 1", "#F: 1", "Boost: 2 dB 0", "#E: 2"}), "Boost: 2 dB 0\n#E: 1\n#F: 1\n#E: 2"},
        // Without a colon there is no name.
        {"#note\nBoost: 1 dB 0", lines({"#note", "", "#Boost"}), "#note\nBoost: 1 dB 0\n#note\n\n#Boost"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.change(c.before).text, c.after) << "from: " << c.before;
        const std::string leftovers = c.before + std::string("\0old text", 9);
        EXPECT_EQ(c.change(leftovers).text, c.after) << "with bytes behind the end";
    }
}

TEST(SettingsChanges, RefusesWhatTheEffectWouldIgnoreOrTakeOtherwise) {
    const auto line = [](const char* text) { return lines({text}); };
    const struct {
        Change change;
        const char* reason;
        std::string before;
    } cases[] = {
        {boost("20.1", plain), "beyond the most there is, 20 dB"},
        {boost("-1", plain), "would lower the level"},
        {boost("loud", plain), "\"loud\" cannot be read"},
        {boost("", plain), "cannot be read"},
        {boostLines(true), "no line named \"Boost\" or \"Maximizer\" to switch on", "#EnableOldApo:"},
        {boostLines(true), "\"Boost: loud\" would do nothing", "#Boost: 1 dB 0\n#Boost: loud"},
        {points("1000 1 500 2"), "out of order: 500 Hz follows 1000 Hz"},
        {points("500 1 500 2"), "two points at 500 Hz"},
        {points("0 1"), "no place on a logarithmic scale"},
        {points("100 20.5"), "outside of -100 to 20 dB"},
        {line("Bost: 60 dB 1"), "did you mean \"Boost\""},
        {line("Boost: 6.0 dB 1"), "would do nothing"},
        {line("Boost: 201 dB 1"), "outside of 0 to 200"},
        {line("Boost: -1 dB 1"), "outside of 0 to 200"},
        {line("Boost: 60 dB 2"), "is 0 for a plain boost or 1"},
        {line("Boost: 60 dB 1 please"), "reads \"Boost: 60 dB 1 please\" as"},
        {line("Maximizer: 201 dB"), "outside of -200 to 200"},
        {line("Maximizer: 60 dB 1"), "outside of -200 to 0 (-20.0 dB to 0.0 dB)"},
        {line("Maximizer: 60 dB -201"), "ceiling of \"Maximizer: 60 dB -201\" counts tenths of a dB"},
        {line("Maximizer: 60 dB -1.5"), "reads \"Maximizer: 60 dB -1.5\" as \"Maximizer: 60 dB -1\""},
        {line("Boost: 1 dB 0\nBoost: 2 dB 0"), "line ends"},
        {line("Equalizer: 100 -3 flat 1000"), "\"flat\" cannot be read"},
        {line("Equalizer: 1.5 2,5"), "reads \"Equalizer: 1.5 2,5\" as \"Equalizer: 1.5 2\""},
        {line("Boost: 6 dB 0"), "264 bytes, 9 more than the 255", std::string(250, 'x')},
        {boost("6", limited), "1 more than", std::string(256 - oneBoost.size(), 'x')},
        {boost("6", plain), "bytes, ", std::string(256, '\xFF')},
    };
    for (const auto& c : cases) {
        const std::string refusal = refusalOf([&c] { c.change(c.before); });
        EXPECT_NE(refusal.find(c.reason), std::string::npos) << refusal << "\nexpected: " << c.reason;
    }
    EXPECT_EQ(changeBoost(std::string(255 - oneBoost.size(), 'x'), "6", limited).text.size(), 255U) << "still fits";
}

TEST(SettingsChanges, WhatIsRoundedOrChangesNothingIsSaid) {
    const struct {
        std::string before;
        Change change;
        /// A part of them; none where it is empty.
        std::string notes;
    } cases[] = {
        {"", boost("6.05", plain), "rounded to 6.1 dB"},
        {"", boost("0.7", plain), ""},
        {"Boost: 1 dB 0", boostLines(true), "stood so already"},
        {"Maximizer: 60 dB -10", boost("9", clean), "The ceiling stays at -1.0 dB.\""},
        {"Maximizer: 60 dB -10", boost("9", limited), ""},
        {"#Boost: 60 dB 1\nMaximizer: 60 dB", boostLines(true), "2 lines"},
        {"#Boost: 60 dB 1", boostLines(true), ""},
        {"", points("100 6"), "rises to 6.0 dB"},
        {"Boost: 0 dB 0", points("100 6"), "rises to 6.0 dB"},
        {"Boost: 0 dB 1", points("100 6"), ""},
        {"Maximizer: 0 dB", points("100 6"), ""},
        // The limiter stands before it.
        {"Boost: 0 dB 1\nEqualizer: 1 1", points("100 6"), "rises to 6.0 dB"},
        {"", points("100 -6 200 0"), ""},
    };
    for (const auto& c : cases) {
        const auto notes = c.change(c.before).notes;
        const auto told = testing::PrintToString(notes);
        EXPECT_NE(told.find(c.notes), std::string::npos) << told << "instead of: " << c.notes;
        EXPECT_EQ(notes.empty(), c.notes.empty()) << told;
    }
}

/// 60 points, far more than fit.
std::string longList() {
    std::string list;
    for (int i = 0; i < 60; ++i) {
        list += std::to_string(20 + i * i * 5) + " " + std::to_string(-(i % 7)) + "." + std::to_string(i % 10) + " ";
    }
    return list;
}

TEST(SettingsChanges, ACurveThatDoesNotFitIsRefusedWithAThinningThatDoes) {
    const std::string refusal = refusalOf([] { equalizer(effectDefault, longList()); });
    ASSERT_NE(refusal.find(" more than the 255 that the settings page holds; --fit "), std::string::npos) << refusal;
    const auto offered = std::stoul(refusal.substr(refusal.find("--fit ") + 6));
    const auto change = equalizer(effectDefault, longList(), offered);
    EXPECT_LE(change.text.size(), 255U);
    ASSERT_TRUE(change.thinned);
    EXPECT_LE(change.thinned->points.size(), offered);
    for (const std::size_t tooMany : {50U, 60U}) {
        const std::string other = refusalOf([&] { equalizer(effectDefault, longList(), tooMany); });
        EXPECT_NE(other.find("--fit " + std::to_string(offered) + " thins"), std::string::npos) << other;
    }
    EXPECT_FALSE(equalizer("", "100 1 200 2", 5).thinned) << "nothing to thin";
}

TEST(SettingsChanges, AParametricListIsDrawnAsCloselyAsTheRoomAllows) {
    const auto curve =
        readCurve("Preamp: -6 dB\nFilter 1: ON LSC Fc 105 Hz Gain 6 dB Q 0.7\n"
                  "Filter 2: ON PK Fc 2500 Hz Gain -4 dB Q 2\nFilter 3: ON HSC Fc 9000 Hz Gain 3 dB Q 0.7");
    const auto change = changeEqualizer(effectDefault, curve, std::nullopt);
    ASSERT_TRUE(change.thinned);
    EXPECT_LE(change.text.size(), 255U);
    EXPECT_GT(change.text.size(), 230U) << "room left unused";
    EXPECT_LT(change.thinned->deviationDb, 0.5);
    EXPECT_EQ(changeEqualizer(effectDefault, curve, 1000).text, change.text);
    EXPECT_GT(changeEqualizer(effectDefault, curve, 6).thinned->deviationDb, change.thinned->deviationDb);
}

/// Every look at it is 5 ms later.
std::int64_t fiveMillisecondsLater() noexcept {
    static std::int64_t now = 0;
    return now += 5000000;
}

TEST(SettingsRules, ATextThatCostsTooMuchIsRefusedWithTheFigureUnlessItMendsAWorseOne) {
    const auto verdict = [](std::string_view text, std::string_view before, NanosecondClock clock) {
        return refusalOf([&] { checkCost(text, before, clock); });
    };
    constexpr auto refusal =
        "On this machine the settings would take 188 % of each block's time with 8 channels, 48 "
        "kHz and blocks of 128 frames; the effect uses none that take more than 70 % of its own.";
    EXPECT_EQ(verdict("Boost: 60 dB 1", "", &fiveMillisecondsLater), refusal);
    EXPECT_EQ(verdict("Boost: 60 dB 1", "Maximizer: 60 dB", &fiveMillisecondsLater), refusal);
    EXPECT_EQ(verdict("Boost: 60 dB 1", "Boost: 60 dB 1\nEqualizer: 1 1", &fiveMillisecondsLater), "accepted");
    EXPECT_EQ(verdict("#Boost: 60 dB 1\nEnableOldApo:", "", &fiveMillisecondsLater), "accepted");
    EXPECT_EQ(verdict("Equalizer: 100 -3 1000 6\nMaximizer: 60 dB", "", &steadyNanoseconds), "accepted");
}

} // namespace
} // namespace tovix
