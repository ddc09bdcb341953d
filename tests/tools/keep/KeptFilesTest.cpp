// When the settings are written down and brought back; what a user's files may be called and hold, whoever has edited
// them, and what an interrupted write leaves.

#include "keep/KeepRefusal.h"
#include "keep/KeepSteps.h"
#include "keep/ProfileName.h"
#include "keep/Profiles.h"
#include "keep/SettingsFile.h"
#include "support/TemporaryFolder.h"
#include "tools/RefusalOf.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace tovix::keep {
namespace {

using test::refusalOf;
using enum KeepSteps::Step;

constexpr const char* effectsOwn = "#Boost: 0 dB 0\n#EnableOldApo:";

/// One look at the page, and what it leads to. What is decided is done, and a write fails where the case says so.
struct Look {
    int atMs;
    const char* page;
    KeepSteps::Step step;
    bool writeFails = false;
};

TEST(KeepSteps, ThePageWinsWhereSomebodyHasSetItAndEveryChangeIsWrittenDownOnce) {
    const struct {
        const char* what;
        const char* last;
        std::vector<Look> looks;
        /// At the end, with the page of the last look.
        bool owed = false;
    } cases[] = {
        {"an empty page gets the last settings", "A", {{0, "", bringBack}, {900, "A", nothing}}},
        {"so does an effect's own text, old-apo on", "A", {{0, "#Boost: 0 dB 0\nEnableOldApo:\n", bringBack}}},
        {"a page that is set wins and is written down when it has rested",
         "A",
         {{0, "B", nothing}, {200, "B", nothing}, {400, "B", writeDown}, {600, "B", nothing}}},
        {"nothing to bring back, nothing to write", "", {{0, "", nothing}, {900, "", nothing}}},
        {"no last settings: an effect's own text is a text", "", {{0, effectsOwn, nothing}}, true},
        {"a slow effect writes its own text over them",
         "A",
         {{0, "", bringBack}, {5000, effectsOwn, bringBack}, {5200, "A", nothing}}},
        {"the same text later is the user's",
         "A",
         {{0, "", bringBack}, {20000, effectsOwn, nothing}, {20400, effectsOwn, writeDown}}},
        {"emptied by the user at once", "A", {{0, "", bringBack}, {300, "", nothing}}, true},
        {"quick changes are one",
         "A",
         {{0, "A", nothing}, {1000, "B", nothing}, {1200, "C", nothing}, {1600, "C", writeDown}}},
        {"changes without rest are written down after three seconds",
         "",
         {{0, "A", nothing}, {1500, "B", nothing}, {2900, "C", nothing}, {3000, "D", writeDown}}},
        {"there and back again", "A", {{0, "A", nothing}, {200, "B", nothing}, {400, "A", nothing}}},
        {"a write that fails is tried again, not at every look",
         "A",
         {{0, "B", nothing}, {400, "B", writeDown, true}, {600, "B", nothing}, {5400, "B", writeDown}}},
    };
    for (const auto& c : cases) {
        KeepSteps steps(c.last);
        for (const auto& look : c.looks) {
            const KeepSteps::Time now(look.atMs);
            const auto step = steps.look(look.page, now);
            EXPECT_EQ(step, look.step) << c.what << ", at " << look.atMs;
            if (step == bringBack) {
                steps.broughtBack(now);
            } else if (step == writeDown && look.writeFails) {
                steps.failedToWrite(now);
            } else if (step == writeDown) {
                steps.wroteDown();
            }
        }
        const auto& end = c.looks.back();
        const bool isBack = end.step == bringBack;
        EXPECT_EQ(steps.isOwed(isBack ? c.last : end.page, KeepSteps::Time(end.atMs)), c.owed) << c.what;
    }
}

TEST(Profiles, NamesAreThoseThatEveryFileSystemTakes) {
    for (const auto* const name : {"night", "Kopfh\xC3\xB6rer 2", "a.b", "console", "COM10", "lpt", "nul1"}) {
        EXPECT_EQ(refusalOf([&] { checkProfileName(name); }), "accepted");
    }
    for (const auto* const name :
         {"",     " a",     "a ",          "a.",     ".",    "..",    ".a",        "a/b",  "a\\b",  "..\\a",
          "c:a",  "a:b",    "a*",          "a?",     "a\"b", "a|b",   "<a>",       "con",  "Nul.x", "aux .txt",
          "COM1", "lpt9.a", "COM\xC2\xB2", "conin$", "a\nb", "a\x7F", "a\xC2\x85", "a\xFF"}) {
        EXPECT_NE(refusalOf([&] { checkProfileName(name); }), "accepted") << name;
    }
    EXPECT_EQ(refusalOf([] { checkProfileName(std::string(60, 'a')); }), "accepted");
    EXPECT_NE(refusalOf([] { checkProfileName(std::string(61, 'a')); }), "accepted");
}

TEST(Profiles, AFileEditedByHandIsReadAsItsEditorMeantOrRefusedAndLeftAlone) {
    const test::TemporaryFolder folder;
    const auto file = folder.path() / "a.txt";
    const struct {
        std::string bytes;
        /// The text, or a part of the refusal.
        std::string expected;
    } cases[] = {
        {"\xEF\xBB\xBF"
         "Boost: 60 dB 1\r\n\r\n#a note: \xC3\xA4\r\n\r\n",
         "Boost: 60 dB 1\n\n#a note: \xC3\xA4"},
        {"", ""},
        {"\r\n", ""},
        {std::string(254, '#') + "\n", std::string(254, '#')},
        {"#" + std::string(255, 'x'), "256 bytes"},
        {std::string(5000, '\n'), "larger"},
        {"Boost: 201 dB 0", "outside of 0 to 200"},
        {"Boost: 60 dB 1\nBost: 1 dB 1", "did you mean"},
        {std::string("Boost: 60 dB 1\n\0#", 17), "control characters"},
        {std::string("\xFF\xFE"
                     "B\0o\0o\0s\0t\0",
                     12),
         "control characters"},
    };
    for (const auto& c : cases) {
        test::putContent(file, c.bytes);
        const auto refusal = refusalOf([&] { EXPECT_EQ(readSettingsFile(file)->text, c.expected); });
        if (refusal != "accepted") {
            EXPECT_NE(refusal.find(c.expected), std::string::npos) << refusal;
            EXPECT_NE(refusal.find("a.txt"), std::string::npos) << refusal;
        }
        EXPECT_EQ(test::contentOf(file), c.bytes);
    }
}

TEST(Profiles, AWriteThatDoesNotEndLeavesTheOldFileAndTheNextOneWritesOverIt) {
    const test::TemporaryFolder folder;
    Profiles profiles(folder.path());
    EXPECT_FALSE(profiles.save("\xC3\x96", ""));
    EXPECT_FALSE(profiles.save("b", ""));
    EXPECT_FALSE(profiles.save("a", "Boost: 10 dB 0"));
    const auto unfinished = folder.path() / "a.txt.part";
    std::filesystem::create_directory(unfinished);
    EXPECT_THROW(profiles.save("a", "Boost: 20 dB 0"), KeepRefusal);
    EXPECT_EQ(profiles.load("a").text, "Boost: 10 dB 0");
    std::filesystem::remove(unfinished);
    test::putContent(unfinished, "Boost: 20");
    EXPECT_EQ(profiles.names(), (std::vector<std::string>{"a", "b", "\xC3\x96"}));
    EXPECT_NE(refusalOf([&] { profiles.save("a", "Boost: 900 dB 0"); }), "accepted");
    EXPECT_TRUE(profiles.save("a", "Boost: 30 dB 0"));
    EXPECT_EQ(test::contentOf(profiles.file("a")), "Boost: 30 dB 0\n");
    EXPECT_FALSE(std::filesystem::exists(unfinished));

    std::ifstream reading(profiles.file("a"));
    ASSERT_TRUE(reading.is_open());
    const std::jthread reader([&](const std::stop_token& end) {
        while (!std::filesystem::exists(unfinished) && !end.stop_requested()) {
            std::this_thread::yield();
        }
        reading.close();
    });
    EXPECT_TRUE(profiles.save("a", "Boost: 40 dB 0")) << "somebody reads it for a moment";
}

} // namespace
} // namespace tovix::keep
