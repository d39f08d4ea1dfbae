#include "lab/io/narrow_stream.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

const std::string STORY =
    "2026-03-28 08:00:10  battery stress    Lowered the voltage from 4450 to 4350 mV for good: too many "
    "hours\n"
    "                                         >4400 mV, 40-45 °C: 1000.5 h x 10.6 = 10583 stress hours\n"
    "  /a/path/that/no/space/is/in/and/that/is/longer/than/a/line\n\nshort\n";

std::string shown(const std::string& text, std::size_t columns, std::size_t cut) {
    std::ostringstream out;
    {
        const lab::narrow_stream narrow(out, columns);
        out << text.substr(0, cut) << std::flush << text.substr(cut);
    }
    return out.str();
}

}  // namespace

TEST(NarrowStream, BreaksLinesBetweenWordsHoweverTheyAreCut) {
    const std::string wide =
        "2026-03-28 08:00:10  battery stress    Lowered the voltage from 4450 to 4350 mV\n"
        "                                       for good: too many hours\n"
        "                                         >4400 mV, 40-45 °C: 1000.5 h x 10.6 =\n"
        "                                           10583 stress hours\n"
        "  /a/path/that/no/space/is/in/and/that/is/longer/than/a/line\n\nshort\n";
    const std::string narrow =
        "2026-03-28 08:00:10  battery stress\n"
        "    Lowered the voltage from 4450 to\n"
        "    4350 mV for good: too many hours\n"
        "    >4400 mV, 40-45 °C: 1000.5 h x 10.6\n"
        "      = 10583 stress hours\n"
        "  /a/path/that/no/space/is/in/and/that/is/longer/than/a/line\n\nshort\n";
    for (std::size_t cut = 0; cut <= STORY.size(); cut += 7) {
        EXPECT_EQ(shown(STORY, 80, cut), wide);
        EXPECT_EQ(shown(STORY, 40, cut), narrow);
        EXPECT_EQ(shown(STORY, 0, cut), STORY);
    }
    EXPECT_EQ(shown("no end", 40, 3), "no end");
}
