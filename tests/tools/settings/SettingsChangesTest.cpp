#include "settings/SettingsChanges.h"

#include "curves/Refusal.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace tovix {
namespace {

constexpr const char* effectDefault = "#Boost: 0 dB 0\n#EnableOldApo:";

std::string refusalOf(const std::function<void()>& change) {
    try {
        change();
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "accepted";
}

std::string notesOf(const ChangedSettings& change) {
    std::string notes;
    for (const auto& note : change.notes) {
        notes += note + "\n";
    }
    return notes;
}

ChangedSettings equalizer(std::string_view text, std::string_view points,
                          std::optional<std::size_t> fit = std::nullopt) {
    return changeEqualizer(text, readPointList(points), fit);
}

TEST(SettingsChanges, EachCommandWritesItsLineAndKeepsTheOthersByteForByte) {
    const struct {
        std::string before;
        std::function<ChangedSettings(const std::string&)> change;
        std::string after;
    } cases[] = {
        {"", [](const auto& b) { return changeBoost(b, "6.0", false); }, "Boost: 60 dB 0"},
        {effectDefault, [](const auto& b) { return changeBoost(b, "6", true); }, "Boost: 60 dB 1\n#EnableOldApo:"},
        {"x  y\nBoost:1dB1\n\nBoost: 2 dB 0\n# a note", [](const auto& b) { return changeBoost(b, "0,5 dB", false); },
         "x  y\nBoost: 5 dB 0\n\n# a note"},
        {"A:\r\nBoost: 60 dB 1", [](const auto& b) { return switchLines(b, "Boost", false); }, "A:\n#Boost: 60 dB 1"},
        {"#Boost: 60 dB 1\n#EnableOldApo:", [](const auto& b) { return switchLines(b, "Boost", true); },
         "Boost: 60 dB 1\n#EnableOldApo:"},
        {"Boosted: 1\nBoost: 1 dB 0", [](const auto& b) { return switchLines(b, "Boost", false); },
         "Boosted: 1\n#Boost: 1 dB 0"},
        {effectDefault, [](const auto& b) { return equalizer(b, "100 -3 1000 0 10000 6"); },
         "Equalizer: 100 -3 1000 0 10000 6\n#Boost: 0 dB 0\n#EnableOldApo:"},
        {"Boost: 9 dB 0\n#Equalizer: 1 1", [](const auto& b) { return equalizer(b, "20.50 -3,10"); },
         "Boost: 9 dB 0\nEqualizer: 20.5 -3.1"},
        {effectDefault, [](const auto& b) { return changePreviousEffect(b, true); }, "#Boost: 0 dB 0\nEnableOldApo:"},
        {"EnableOldApo:\nBoost: 1 dB 0", [](const auto& b) { return changePreviousEffect(b, false); },
         "#EnableOldApo:\nBoost: 1 dB 0"},
        {effectDefault,
         [](const auto& b) {
             return setLines(b, {"Boost: 30 dB 1", "#note"}, false);
         },
         "Boost: 30 dB 1\n#EnableOldApo:\n#note"},
        {"A:\nBoost: 1 dB 0", [](const auto& b) { return setLines(b, {"EnableOldApo:"}, true); }, "EnableOldApo:"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.change(c.before).text, c.after) << "from: " << c.before;
        const std::string leftovers = c.before + std::string("\0old text", 9);
        EXPECT_EQ(c.change(leftovers).text, c.after) << "with bytes behind the end";
    }
}

TEST(SettingsChanges, RefusesWhatTheEffectWouldIgnoreOrTakeOtherwise) {
    const struct {
        std::function<void()> change;
        const char* reason;
    } cases[] = {
        {[] { changeBoost("", "20.1", false); }, "beyond the most there is, 20 dB"},
        {[] { changeBoost("", "-1", false); }, "would lower the level"},
        {[] { changeBoost("", "loud", false); }, "\"loud\" cannot be read"},
        {[] { changeBoost("", "", false); }, "cannot be read"},
        {[] { switchLines("#EnableOldApo:", "Boost", true); }, "no line named \"Boost\" to switch on"},
        {[] { switchLines("#Boost: loud", "Boost", true); }, "would do nothing"},
        {[] { switchLines("#Boost: 1 dB 0\n#Boost: loud", "Boost", true); }, "\"Boost: loud\" would do nothing"},
        {[] { equalizer("", "1000 1 500 2"); }, "out of order: 500 Hz follows 1000 Hz"},
        {[] { equalizer("", "500 1 500 2"); }, "two points at 500 Hz"},
        {[] { equalizer("", "0 1"); }, "no place on a logarithmic scale"},
        {[] { equalizer("", "100 20.5"); }, "outside of -100 to 20 dB"},
        {[] { setLines("", {"Bost: 60 dB 1"}, false); }, "did you mean \"Boost\""},
        {[] { setLines("", {"Boost: 6.0 dB 1"}, false); }, "would do nothing"},
        {[] { setLines("", {"Boost: 201 dB 1"}, false); }, "outside of 0 to 200"},
        {[] { setLines("", {"Boost: -1 dB 1"}, false); }, "outside of 0 to 200"},
        {[] { setLines("", {"Boost: 60 dB 2"}, false); }, "is 0 for a plain boost or 1"},
        {[] { setLines("", {"Boost: 60 dB 1 please"}, false); }, "reads \"Boost: 60 dB 1 please\" as"},
        {[] { setLines("", {"Boost: 1 dB 0\nBoost: 2 dB 0"}, false); }, "line ends"},
        {[] { setLines("", {"Equalizer: 100 -3 flat 1000"}, false); }, "\"flat\" cannot be read"},
        {[] { setLines("", {"Equalizer: 1.5 2,5"}, false); }, "reads \"Equalizer: 1.5 2,5\" as \"Equalizer: 1.5 2\""},
        {[] { setLines(std::string(250, 'x'), {"Boost: 6 dB 0"}, false); }, "264 bytes, 9 more than the 255"},
        {[] { changeBoost(std::string(256, '\xFF'), "6", false); }, "bytes, "},
    };
    for (const auto& c : cases) {
        const std::string refusal = refusalOf(c.change);
        EXPECT_NE(refusal.find(c.reason), std::string::npos) << refusal << "\nexpected: " << c.reason;
    }
}

TEST(SettingsChanges, TheTextMayFillThePageToItsLastByteButOne) {
    const std::string boost = "\nBoost: 60 dB 1";
    EXPECT_EQ(changeBoost(std::string(255 - boost.size(), 'x'), "6", true).text.size(), 255U);
    EXPECT_NE(refusalOf([&] { changeBoost(std::string(256 - boost.size(), 'x'), "6", true); }).find("1 more than"),
              std::string::npos);
}

TEST(SettingsChanges, ALevelFinerThanATenthIsRoundedWithAWord) {
    const auto change = changeBoost("", "6.05", false);
    EXPECT_EQ(change.text, "Boost: 61 dB 0");
    EXPECT_NE(notesOf(change).find("rounded to 6.1 dB"), std::string::npos);
    EXPECT_EQ(changeBoost("", "0.7", false).text, "Boost: 7 dB 0");
    EXPECT_EQ(notesOf(changeBoost("", "0.7", false)), "");
}

TEST(SettingsChanges, SwitchingOffAndOnBringsTheSameTextBack) {
    const std::string text = "Equalizer: 20 -3\nBoost: 60 dB 1\nBoost: 5 dB 0";
    EXPECT_EQ(switchLines(switchLines(text, "Boost", false).text, "Boost", true).text, text);
    EXPECT_NE(notesOf(switchLines(text, "Equalizer", true)).find("stood so already"), std::string::npos);
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

TEST(SettingsChanges, AnEqualizerThatRaisesTheLevelWithoutALimiterAfterItGetsAHint) {
    const auto hints = [](const ChangedSettings& change) {
        return notesOf(change).find("rises to 6.0 dB") != std::string::npos;
    };
    EXPECT_TRUE(hints(equalizer("", "100 6")));
    EXPECT_TRUE(hints(equalizer("Boost: 0 dB 0", "100 6")));
    EXPECT_FALSE(hints(equalizer("Boost: 0 dB 1", "100 6")));
    EXPECT_TRUE(hints(equalizer("Boost: 0 dB 1\nEqualizer: 1 1", "100 6"))) << "the limiter stands before it";
    EXPECT_FALSE(hints(equalizer("", "100 -6 200 0")));
}

} // namespace
} // namespace tovix
