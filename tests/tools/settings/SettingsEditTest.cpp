#include "settings/SettingsEdit.h"

#include <gtest/gtest.h>

namespace tovix {
namespace {

TEST(SettingsEdit, LinesThatArePutReplaceThoseOfTheirNameAndKeepTheOthersByteForByte) {
    const struct {
        const char* before;
        std::vector<std::string> put;
        const char* after;
    } cases[] = {
        {"E: 1\nB: 1", {"#E: 1"}, "#E: 1\nB: 1"},
        {"#B: 1", {"B: 2"}, "B: 2"},
        {"B: 1", {"E: 2"}, "B: 1\nE: 2"},
        {"x  y\nB: 1\n\nE: 1\r\nB: 2\n# a: note", {"B: 3"}, "x  y\nB: 3\n\nE: 1\n# a: note"},
        {"B: 1\nE: 1", {"B: 2", "#B: 3"}, "B: 2\n#B: 3\nE: 1"},
        {"B: 1", {"E: 1", "F: 1", "B: 2", "E: 2"}, "B: 2\nE: 1\nF: 1\nE: 2"},
        {"B: 1", {}, "B: 1"},
        // Without a colon there is no name.
        {"#note\nB: 1", {"#note"}, "#note\nB: 1\n#note"},
        {"B: 1", {"#B", "", "#B"}, "B: 1\n#B\n\n#B"},
        {": 1", {": 2"}, ": 1\n: 2"},
    };
    for (const auto& c : cases) {
        SettingsEdit edit(c.before);
        edit.put(c.put);
        EXPECT_EQ(edit.text(), c.after) << "from: " << c.before;
    }
}

} // namespace
} // namespace tovix
