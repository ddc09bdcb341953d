#include "control/StatusReport.h"

#include "settings/SettingsReport.h"
#include "text/Utf.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>

namespace tovix::control {
namespace {

TEST(StatusReport, SaysForEveryLineWhatItWillDo) {
    const Status status{.text =
                            "Boost: 300 dB 1\n#EnableOldApo:\nBost: 1\nEqualizer: 100 -3\nMaximizer: -300 dB -300",
                        .holders = 1,
                        .logLevel = 4,
                        .previousEffect = true};
    const std::string text = describeStatus(status);
    for (const auto* const part :
         {"80 of 255 bytes, held by 1 other handle\n", "Boost: 300 dB 1   -> boost of 30.0 dB with a limiter",
          "Bost: 1   -> ignored: ", "EnableOldApo): on\n", "4, info"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\nin:\n" << text;
    }
    const auto data = statusData(status);
    EXPECT_EQ(data["settings"]["bytes"], 80);
    EXPECT_EQ(data["settings"]["lines"][0]["boost"]["levelDb"], 30.0);
    EXPECT_EQ(data["settings"]["lines"][2]["outcome"], "unknownName");
    EXPECT_EQ(data["settings"]["lines"][3]["points"][0]["gainDb"], -3.0);
    EXPECT_EQ(data["settings"]["lines"][4]["maximizer"]["levelDb"], -20.0);
    EXPECT_EQ(data["settings"]["lines"][4]["maximizer"]["ceilingDb"], -20.0);
    EXPECT_EQ(data["registry"]["logLevel"], 4);
    EXPECT_TRUE(statusData({})["settings"].is_null());
}

TEST(StatusReport, AnyBytesOfTheSettingsAreShownAndQuotedInNotesWithoutReachingTheTerminalRaw) {
    std::minstd_rand random(7);
    for (int round = 0; round < 200; ++round) {
        std::string settings(255, '\0');
        for (char& c : settings) {
            c = static_cast<char>(random() % 255 + 1);
        }
        const std::string text = describeStatus({.text = settings});
        for (const wchar_t c : decodeUtf8(text)) {
            ASSERT_TRUE(c == L'\n' || (c >= 0x20 && c < 0x7F) || c > 0x9F) << static_cast<int>(c);
        }
        ASSERT_NO_THROW(static_cast<void>(statusData({.text = settings}).dump()));
    }
    const auto data = changeData(switchBoost("#Boost: \xFF", false));
    ASSERT_EQ(data["notes"].size(), 1U);
    EXPECT_NE(data["notes"][0].get<std::string>().find("Boost: \xC3\xBF"), std::string::npos);
    EXPECT_EQ(printable("a\x1B[2J\xFF"), "a\\x1B[2J\xC3\xBF");
    EXPECT_EQ(printable("\xC2\x9BK \xC2\xA0"), "\\x9BK \xC2\xA0");
    EXPECT_EQ(printable("\x9BK"), "\\x9BK");
}

} // namespace
} // namespace tovix::control
