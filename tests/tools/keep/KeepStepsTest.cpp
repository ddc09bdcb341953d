#include "keep/KeepSteps.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tovix::keep {
namespace {

using Step = KeepSteps::Step;

constexpr const char* effectsOwn = "#Boost: 0 dB 0\n#EnableOldApo:";

/// One look at the page, and what it leads to. What is decided is done, and a write fails where the case says so.
struct Look {
    int atMs;
    const char* page;
    Step step;
    bool writeFails = false;
};

TEST(KeepSteps, ThePageWinsWhereSomebodyHasSetItAndEveryChangeIsWrittenDownOnce) {
    const struct {
        const char* what;
        const char* last;
        std::vector<Look> looks;
        /// At the end, with the page of the last look.
        bool owed;
    } cases[] = {
        {"an empty page gets the last settings", "A", {{0, "", Step::bringBack}, {900, "A", Step::nothing}}, false},
        {"so does an effect's own text, old-apo on",
         "A",
         {{0, "#Boost: 0 dB 0\nEnableOldApo:\n", Step::bringBack}},
         false},
        {"a page that is set wins and is written down when it has rested",
         "A",
         {{0, "B", Step::nothing}, {200, "B", Step::nothing}, {400, "B", Step::writeDown}, {600, "B", Step::nothing}},
         false},
        {"nothing to bring back, nothing to write", "", {{0, "", Step::nothing}, {900, "", Step::nothing}}, false},
        {"no last settings: an effect's own text is a text", "", {{0, effectsOwn, Step::nothing}}, true},
        {"a slow effect writes its own text over them",
         "A",
         {{0, "", Step::bringBack}, {5000, effectsOwn, Step::bringBack}, {5200, "A", Step::nothing}},
         false},
        {"the same text later is the user's",
         "A",
         {{0, "", Step::bringBack}, {20000, effectsOwn, Step::nothing}, {20400, effectsOwn, Step::writeDown}},
         false},
        {"emptied by the user at once", "A", {{0, "", Step::bringBack}, {300, "", Step::nothing}}, true},
        {"quick changes are one",
         "A",
         {{0, "A", Step::nothing},
          {1000, "B", Step::nothing},
          {1200, "C", Step::nothing},
          {1600, "C", Step::writeDown}},
         false},
        {"there and back again",
         "A",
         {{0, "A", Step::nothing}, {200, "B", Step::nothing}, {400, "A", Step::nothing}},
         false},
        {"a write that fails is tried again, not at every look",
         "A",
         {{0, "B", Step::nothing},
          {400, "B", Step::writeDown, true},
          {600, "B", Step::nothing},
          {5400, "B", Step::writeDown},
          {5600, "B", Step::nothing}},
         false},
    };
    for (const auto& c : cases) {
        KeepSteps steps(c.last);
        for (const auto& look : c.looks) {
            const KeepSteps::Time now(look.atMs);
            const auto step = steps.look(look.page, now);
            EXPECT_EQ(step, look.step) << c.what << ", at " << look.atMs;
            if (step == Step::bringBack) {
                steps.broughtBack(now);
            } else if (step == Step::writeDown && look.writeFails) {
                steps.failedToWrite(now);
            } else if (step == Step::writeDown) {
                steps.wroteDown();
            }
        }
        const auto& end = c.looks.back();
        const bool isBack = end.step == Step::bringBack;
        EXPECT_EQ(steps.isOwed(isBack ? c.last : end.page, KeepSteps::Time(end.atMs)), c.owed) << c.what;
    }
}

TEST(KeepSteps, ChangesWithoutRestAreWrittenDownAfterThreeSeconds) {
    KeepSteps steps("");
    int writes = 0;
    for (int ms = 0; ms < 9000; ms += 100) {
        if (steps.look(std::to_string(ms), KeepSteps::Time(ms)) == Step::writeDown) {
            ++writes;
            steps.wroteDown();
        }
    }
    EXPECT_EQ(writes, 2);
}

} // namespace
} // namespace tovix::keep
