#include "keep/KeepSteps.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tovix::keep {
namespace {

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

} // namespace
} // namespace tovix::keep
