#include "lab/events.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lab/error.h"
#include "lab/text.h"

namespace {

using lab::event;
using lab::event_kind;
using testing::HasSubstr;

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

std::string error_of(const std::string& lines) {
    lab::event_reader reader(lab::input_file::from_text(lines, "e.jsonl"));
    event what;
    try {
        while (reader.next(what)) {
        }
    } catch (const lab::input_error& error) {
        return error.what();
    }
    return "";
}

TEST(Events, AreWrittenAsTheFormatShowsThem) {
    event what = log_line("--- vorn \"x\"\n");
    what.boot = 2;
    what.elapsed_s = -3;
    EXPECT_EQ(json_of(what),
              R"({"boot":2,"elapsed":-3,"event":"log","priority":6,"tag":"vorn","text":"--- vorn \"x\"\n"})");
    what.kind = event_kind::metric;
    what.buffer = 8;
    what.priority = 5;
    what.text = "lx6wwu6k:";
    EXPECT_EQ(
        json_of(what),
        R"({"boot":2,"elapsed":-3,"event":"metric","buffer":8,"priority":5,"tag":"vorn","text":"lx6wwu6k:"})");
    what.kind = event_kind::property_set;
    what.name = "persist.a";
    what.text = "";
    what.result = -1;
    EXPECT_EQ(json_of(what),
              R"({"boot":2,"elapsed":-3,"event":"property_set","name":"persist.a","value":"","result":-1})");
    what.kind = event_kind::write;
    what.name = "/a";
    what.text = std::string("\0\x7F\xAB\n", 4);
    what.result = 4;
    EXPECT_EQ(json_of(what),
              R"({"boot":2,"elapsed":-3,"event":"write","path":"/a","data":"007fab0a","result":4})");
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

TEST(Events, ComeBackFromTheFile) {
    std::vector<event> all;
    for (const event_kind kind :
         {event_kind::log, event_kind::metric, event_kind::property_set, event_kind::write}) {
        event what;
        what.kind = kind;
        what.boot = INT64_MIN;
        what.elapsed_s = INT64_MAX;
        what.name = "na\"me";
        what.text = kind == event_kind::write ? std::string("\0\xFF", 2) : "text\n\x01\xC3\xBC";
        if (kind == event_kind::log || kind == event_kind::metric) what.priority = 5;
        if (kind == event_kind::metric) what.buffer = 8;
        if (kind == event_kind::property_set || kind == event_kind::write) what.result = -1;
        all.push_back(what);
    }
    std::string lines;
    for (const event& each : all) lines += json_of(each) + "\n";
    lines += "\n" + json_of(log_line(std::string(200000, 'x')));  // an empty line, no line end
    lab::event_reader reader(lab::input_file::from_text(lines, "e.jsonl"));
    event back;
    for (const event& each : all) {
        ASSERT_TRUE(reader.next(back));
        EXPECT_EQ(json_of(back), json_of(each));
        EXPECT_EQ(back.text, each.text);
    }
    ASSERT_TRUE(reader.next(back));
    EXPECT_EQ(back.text.size(), 200000U);
    EXPECT_EQ(reader.line(), 6);
    EXPECT_FALSE(reader.next(back));
}

TEST(Events, SayWhereALineIsWrong) {
    const std::string good = json_of(log_line("x")) + "\n";
    EXPECT_EQ(error_of(good + "{\"boot\":1,}\n"), "e.jsonl:2:11: not JSON");
    EXPECT_EQ(error_of(good + good + "[1]\n"), "e.jsonl:3:1: not a JSON object");
    EXPECT_EQ(error_of(R"({"boot":1})"), "e.jsonl:1:1: no elapsed in the event");
    EXPECT_EQ(error_of(R"({"boot":1.5,"elapsed":0})"), "e.jsonl:1:1: boot is not a whole number");
    EXPECT_EQ(error_of(R"({"boot":1,"elapsed":0,"event":"noise"})"), "e.jsonl:1:1: unknown event: noise");
    EXPECT_EQ(error_of(R"({"boot":1,"elapsed":0,"event":"log","priority":6,"tag":"v","text":3})"),
              "e.jsonl:1:1: text is not a text");
    EXPECT_EQ(error_of(R"({"boot":1,"elapsed":0,"event":"write","path":"/a","data":"0g","result":1})"),
              "e.jsonl:1:1: data is not hexadecimal");
}

}  // namespace
