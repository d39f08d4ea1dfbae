#include "lab/recordings/events.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using lab::event;
using lab::event_kind;

std::string json_of(const event& what) {
    std::string out;
    lab::append_json(out, what);
    return out;
}

event log_line(const std::string& text) {
    event what;
    what.priority = 6;
    what.name = "vorn";
    what.text = text;
    return what;
}

std::string json_text(const std::string& text) {
    const std::string json = json_of(log_line(text));
    const std::string before = R"("text":")";
    const std::size_t start = json.find(before) + before.size();
    return json.substr(start, json.size() - start - 2);
}

TEST(Events, AreWrittenAsTheFormatShowsThemAndComeBack) {
    const std::string bytes("\0\x7F\xAB\n", 4);
    const std::pair<event, std::string> cases[] = {
        {{event_kind::log, 2, -3, 0, 6, 0, 0, "vorn", "--- vorn \"x\"\n"},
         R"({"boot":2,"elapsed":-3,"event":"log","priority":6,"tag":"vorn","text":"--- vorn \"x\"\n"})"},
        {{event_kind::metric, INT64_MIN, INT64_MAX, 0, 5, 8, 0, "vorn", "lx6wwu6k:"},
         R"({"boot":-9223372036854775808,"elapsed":9223372036854775807,"event":"metric","buffer":8,)"
         R"("priority":5,"tag":"vorn","text":"lx6wwu6k:"})"},
        {{event_kind::property_set, 2, -3, 0, 0, 0, -1, "persist.a", ""},
         R"({"boot":2,"elapsed":-3,"event":"property_set","name":"persist.a","value":"","result":-1})"},
        {{event_kind::write, 2, -3, 0, 0, 0, 4, "/a", bytes},
         R"({"boot":2,"elapsed":-3,"event":"write","path":"/a","data":"007fab0a","result":4})"},
        {log_line(std::string(200000, 'x')),
         R"({"boot":1,"elapsed":0,"event":"log","priority":6,"tag":"vorn","text":")" +
             std::string(200000, 'x') + "\"}"},
    };
    std::string lines = "\n";  // an empty line
    for (const auto& [what, json] : cases) {
        EXPECT_EQ(json_of(what), json);
        lines += json + "\n";
    }
    lines.pop_back();  // no line end
    lab::event_reader reader(lab::input_file::from_text(lines, "e.jsonl"));
    event back;
    for (const auto& [what, json] : cases) {
        ASSERT_TRUE(reader.next(back));
        EXPECT_EQ(json_of(back), json);
        EXPECT_EQ(back.text, what.text);
    }
    EXPECT_EQ(reader.line(), 6);
    EXPECT_FALSE(reader.next(back));
}

TEST(Events, EscapeWhatJSONCannotHold) {
    EXPECT_EQ(json_text("\\ \" \t\r\n \x01\x1F\x7F /"), R"(\\ \" \t\r\n \u0001\u001f)"
                                                        "\x7F /");
    EXPECT_EQ(json_text("gr\xC3\xBC\xC3\x9F \xF0\x9F\x94\x8B"), "gr\xC3\xBC\xC3\x9F \xF0\x9F\x94\x8B");
}

// Expected values: Unicode Standard, table 3-8 and chapter 3.9, and what Python's decode(errors="replace")
// makes of the same bytes.
TEST(Events, ReplaceEachMaximalPieceOfInvalidText) {
    const std::string R = "\xEF\xBF\xBD";
    EXPECT_EQ(json_text("a\xF1\x80\x80\xE1\x80\xC2"
                        "b\x80"
                        "c\x80\xBF"
                        "d"),
              "a" + R + R + R + "b" + R + "c" + R + R + "d");
    EXPECT_EQ(json_text("\xC0\xAF"), R + R);                  // overlong
    EXPECT_EQ(json_text("\xE0\x80\xAF"), R + R + R);          // overlong
    EXPECT_EQ(json_text("\xE0\xA0"), R);                      // cut
    EXPECT_EQ(json_text("\xED\xA0\x80"), R + R + R);          // surrogate
    EXPECT_EQ(json_text("\xED\x9F\xBF"), "\xED\x9F\xBF");     // the last before them
    EXPECT_EQ(json_text("\xF4\x90\x80\x80"), R + R + R + R);  // beyond U+10FFFF
    EXPECT_EQ(json_text("\xF4\x8F\xBF\xBF"), "\xF4\x8F\xBF\xBF");
    EXPECT_EQ(json_text("\xF0\x8F\xBF\xBF"), R + R + R + R);  // overlong
    EXPECT_EQ(json_text("\xF0\x9F\x94"), R);
    EXPECT_EQ(json_text("\xF0\x9F\n\x94"), R + "\\n" + R);
    EXPECT_EQ(json_text("\xFE\xFF"), R + R);
}

}  // namespace
