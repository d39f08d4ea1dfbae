#include "lab/story/log_table.h"

#include <algorithm>
#include <gtest/gtest.h>

// Two lines begin alike: the one that says more is meant. Every id is there once.
TEST(LogTable, KnowsEachLineByWhatItSays) {
    const auto id_of = [](std::string_view text) {
        const auto* const line = lab::log_line_of(text);
        return line == nullptr ? std::string_view() : line->id;
    };
    EXPECT_EQ(id_of("--- vorn CHG_MGR New ToC setting: v=4350 ---\n"), "toc.published");
    EXPECT_EQ(id_of("vorn stress trip is 2 and was 0"), "stress.compared");
    EXPECT_EQ(id_of("file read error /sys/x y/temp ---"), "node.not_read");
    EXPECT_EQ(id_of("--- vorn file read error errno file /mnt/x ---\n"), "file.not_read");
    EXPECT_EQ(id_of("error setting property str \"a\" to \"b\", result=-1 ---"), "property.not_set");
    EXPECT_EQ(id_of("--- vorn vorn running on platform X\n"), "start.done");
    EXPECT_EQ(id_of("CHG_MGR New ToC setting: v=4350 mV"), "toc.published");
    for (const auto* none : {"", "%s", "CHG_MGR New ToC setting: w=1", "stress trip is 2"})
        EXPECT_EQ(id_of(none), "");
    auto ids = lab::log_line_ids();
    std::ranges::sort(ids);
    EXPECT_EQ(std::ranges::adjacent_find(ids), ids.end());
    for (const auto id : ids) EXPECT_EQ(lab::find_log_line(id)->id, id);
}
