// Reading records back: one by one, and out of logs in every form.

#include "util/metrics.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <map>
#include <sstream>

#include "lab/records/log_scanner.h"
#include "lab/records/record_parser.h"

using lab::log_scanner;
using lab::parse_record;
using lab::verdict;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// One record of each kind, as the daemon's formats print it, with extreme values of every type.
struct sample_record {
    std::string name;                 // as in the index
    std::string text;                 // as it reaches the log
    std::vector<std::string> values;  // as they should be read back, the version left out
};

sample_record sample_of(const std::string& name, const std::string& id, const std::string& version,
                        const std::string& format) {
    static const std::map<std::string, std::string> printed = {{"%d", "-2147483648"},
                                                               {"%u", "4294967295"},
                                                               {"%ld", "-9223372036854775808"},
                                                               {"%lu", "18446744073709551615"},
                                                               {"%f", "inf"},
                                                               {"%.1f", "8.4"},
                                                               {"%s", "A=B:C"}};
    sample_record made = {name, "lx6wwu6k:" + id + ":100:" + METRICS_DEVICE_PREFIX, {}};
    std::istringstream fields(format);  // "name=%d;IN,...,ver=%s;SY"
    for (std::string field; std::getline(fields, field, ',');) {
        const std::size_t value = field.find('=') + 1;
        const std::size_t type = field.find(';');
        const bool is_version = field.starts_with("ver=");
        const std::string text = is_version ? version : printed.at(field.substr(value, type - value));
        made.text += field.substr(0, value) + text + field.substr(type) + (is_version ? ":NA" : ",");
        if (!is_version) made.values.push_back(text);
    }
    return made;
}

std::vector<sample_record> sample_records() {
    return {
#define VORN_SAMPLE(name, id, version, format) sample_of(#name, id, version, format),
        VORN_RECORDS(VORN_SAMPLE)
#undef VORN_SAMPLE
    };
}

std::string sample(const std::string& name) {
    for (const sample_record& each : sample_records()) {
        if (each.name == name) return each.text;
    }
    return "no record " + name;
}

std::string replaced(std::string text, const std::string& old, const std::string& put) {
    const std::size_t at = text.find(old);
    EXPECT_NE(at, std::string::npos) << old;
    return text.replace(at, old.size(), put);
}

// How many fields the parser found good; they are the first ones, and as they were printed.
std::size_t good_fields(const lab::parsed_record& record, const sample_record& printed) {
    std::size_t good = 0;
    for (; good < printed.values.size() && record.values[good].data() != nullptr; ++good)
        EXPECT_EQ(record.values[good], printed.values[good]);
    return good;
}

}  // namespace

// Cut at any place, a record keeps what of it is whole.
TEST(RecordParser, ReadsBackEveryRecordWholeOrCut) {
    const auto samples = sample_records();
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::string& text = samples[i].text;
        SCOPED_TRACE(text);
        const auto whole = parse_record(text);
        EXPECT_EQ(whole.result, verdict::good) << whole.detail;
        ASSERT_EQ(whole.schema, &lab::schemas()[i]);
        EXPECT_EQ(whole.schema->name, samples[i].name);
        EXPECT_EQ(good_fields(whole, samples[i]), whole.schema->field_count);
        EXPECT_EQ(whole.rest, "");
        std::size_t good_before = 0;
        for (std::size_t length = 9; length < text.size(); ++length) {
            const auto cut = parse_record(std::string_view(text).substr(0, length));
            ASSERT_EQ(cut.result, verdict::cut) << length << "\n" << cut.detail;
            const std::size_t good = good_fields(cut, samples[i]);
            EXPECT_GE(good, good_before);
            good_before = good;
        }
        EXPECT_EQ(good_before, samples[i].values.size());
    }
}

TEST(RecordParser, SaysWhatIsWrong) {
    const std::string good =
        replaced(sample("stress_start"), "stress_hours=-2147483648", "stress_hours=12001");
    const struct {
        const char* old;
        const char* put;
        verdict result;
        const char* detail;
        std::size_t good_fields;
    } cases[] = {
        {"8ynv/2", "8ynx/2", verdict::unknown_schema, "\"8ynx/2/03330401\"", 0},
        {"8ynv/2/03330401", "", verdict::unknown_schema, "\"\"", 0},
        {"ver=12", "ver=13", verdict::wrong_version, "version is \"13\", expected \"12\"", 4},
        {"=12001", "=12x", verdict::bad_field, "stress_hours is not of type int32: \"12x\"", 3},
        {"=12001", "=", verdict::bad_field, "int32: \"\"", 3},
        {"=12001", "=2147483648", verdict::bad_field, "2147483648", 3},
        {"=12001", "=007", verdict::bad_field, "007", 3},
        {"=12001", "=-0", verdict::bad_field, "-0", 3},
        {"=12001", "=+7", verdict::bad_field, "+7", 3},
        {"12001;IN", "12001;FL", verdict::bad_field, "the type of stress_hours, \"IN\"", 1},
        {"stress_hours", "hours", verdict::bad_field, "expected the field, \"stress_hours\"", 1},
        {"stress_hours=12001;IN,", "", verdict::bad_field, "expected the field, \"stress_hours\"", 1},
        {":100:", ":101:", verdict::bad_envelope, "the fixed field", 0},
        {"_model=;", "_model=x;", verdict::bad_envelope, "device fields", 0},
        {":NA", ":EU", verdict::bad_envelope, "the region", 4},
        {":NA", ";NA", verdict::bad_envelope, "end of the payload", 4},
    };
    for (const auto& each : cases) {
        const std::string text = replaced(good, each.old, each.put);
        SCOPED_TRACE(text);
        const auto record = parse_record(text);
        EXPECT_EQ(lab::words(record.result), lab::words(each.result));
        EXPECT_THAT(record.detail, HasSubstr(each.detail));
        EXPECT_EQ(std::count_if(record.values.begin(), record.values.end(),
                                [](std::string_view value) { return value.data() != nullptr; }),
                  static_cast<std::ptrdiff_t>(each.good_fields));
    }
}

TEST(RecordParser, TakesRealNumbersAsTheyArePrintedAndNothingElse) {
    const std::string good = sample("stress_entry_rejected");
    for (const char* value : {"0.000000", "-0.5", "nan", "-nan", "-inf", "43800.003906"}) {
        const std::string text = replaced(good, "inf", value);
        EXPECT_EQ(parse_record(text).values[2], value);
        EXPECT_EQ(parse_record(text).result, verdict::good);
    }
    for (const char* value : {"", ".5", "5.", "1e5", "0x1p3", "1,5", " 1.0", "infinitely", "00", "-01.5"}) {
        EXPECT_EQ(parse_record(replaced(good, "inf", value)).result, verdict::bad_field) << value;
    }
}

// A CSV column has one unit for all records that share it.
TEST(RecordSchema, GivesAFieldNameOneUnit) {
    std::map<std::string_view, std::string_view> units;
    for (const auto& schema : lab::schemas()) {
        EXPECT_EQ(lab::find_schema_by_name(schema.words), &schema);
        for (const auto& field : schema.fields()) {
            const auto [known, is_new] = units.emplace(field.name, field.unit);
            EXPECT_EQ(known->second, field.unit) << schema.name << "." << field.name;
        }
    }
}

namespace {

// Tells each find as "line time pid record problem".
std::vector<std::string> scan(std::string_view log) {
    std::vector<std::string> finds;
    log_scanner scanner(
        [&](const lab::found_record& found) {
            std::string text = std::to_string(found.line) + " " + std::string(found.origin.time) + " " +
                               std::string(found.origin.pid) + " ";
            if (found.is_event)
                text += std::to_string(found.boot) + "/" + std::to_string(found.elapsed_s) + " ";
            if (found.record.schema != nullptr) text += found.record.schema->name;
            if (found.record.result != verdict::good) text += " " + std::string(words(found.record.result));
            finds.push_back(text);
        },
        log_scanner::LEAST_BUFFER_SIZE);
    while (!log.empty()) {
        const auto space = scanner.space();
        const std::size_t count = std::min(space.size(), log.size());
        EXPECT_GT(count, 0U);
        std::copy_n(log.data(), count, space.data());
        scanner.filled(count);
        log.remove_prefix(count);
    }
    scanner.finish();
    return finds;
}

}  // namespace

TEST(LogScanner, KnowsEveryFormOfLogcat) {
    const struct {
        const char* before;
        const char* after;
        const char* find;
    } forms[] = {
        {"", "", "1   "},
        {"W/vorn    (  123): ", "", "1  123 "},
        {"W/vorn    ( 1000:  123): ", "", "1  123 "},
        {"M8/vorn    (  123): ", "", "1  123 "},
        {"W/vorn    : ", "", "1   "},
        {"W(  123) ", "  (vorn)", "1  123 "},
        {"W(  123:  456) ", "", "1  123 "},
        {"01-02 03:04:05.678 W/vorn    (  123): ", "", "1 01-02 03:04:05.678 123 "},
        {"01-02 03:04:05.678   123   456 W vorn    : ", "", "1 01-02 03:04:05.678 123 "},
        {"01-02 03:04:05.678  1000   123   456 W vorn(8) : ", "", "1 01-02 03:04:05.678 123 "},
        {"2026-01-02 03:04:05.678901 +0100   123   456 W vorn    : ", "",
         "1 2026-01-02 03:04:05.678901 +0100 123 "},
        {"   1767225600.678   123   456 W vorn    : ", "", "1 1767225600.678 123 "},
        {"\x1b[38;5;166m01-02 03:04:05.678   123   456 W vorn    : ", "\x1b[0m", "1 01-02 03:04:05.678 123 "},
        {"01-02 03:04:05.678   123   456 W vorn    : ", "\r", "1 01-02 03:04:05.678 123 "},
        {"a line before\n[ 01-02 03:04:05.678   123:  456 W/vorn ]\n", "\n", "3 01-02 03:04:05.678 123 "},
        {"a line before\nnot a header ]\n", "", "3   "},
        {"Jan  2 03:04:05 host logcat: ", "", "1   "},
    };
    for (const auto& form : forms) {
        for (const char* end : {"", "\n", "\nnext line\n"}) {
            EXPECT_THAT(scan(form.before + sample("topoff_set") + form.after + end),
                        ElementsAre(std::string(form.find) + "topoff_set"))
                << form.before;
        }
    }
}

TEST(LogScanner, ReadsTheLabsEventsAndTellsWhatItCannotRead) {
    const std::string text = sample("topoff_set");
    const std::string log =
        R"({"boot":1,"elapsed":0,"event":"log","priority":6,"tag":"vorn","text":"about lx6wwu6k:\n"})"
        "\n"
        R"({"boot":2,"elapsed":70,"event":"metric","buffer":8,"priority":5,"tag":"vorn","text":")" +
        text + "\"}\n" + R"( {"boot": 2})" + "\n" + R"({"text": ")" + text +
        R"(", "elapsed": 80, "boot": -3, "event": "metric"})" + "\n" +
        R"({"text": 5, "event": "metric", "note": "lx6wwu6k"})" + "\n" +
        R"({"boot":2,"elapsed":90,"event":"metric","buffer":8,"priority":5,"tag":"vorn","text":")" +
        text.substr(0, text.size() - 9);
    EXPECT_THAT(scan(log), ElementsAre("2   2/70 topoff_set", "4   -3/80 topoff_set", "6   topoff_set cut"));
    EXPECT_THAT(scan(text.substr(0, 60) + text), ElementsAre("1   topoff_set cut", "1   topoff_set"))
        << "two records torn into one line";
    EXPECT_THAT(scan(text + " and more"), ElementsAre("1   topoff_set bad envelope"));
    EXPECT_THAT(scan("grep lx6wwu6k\n"), ElementsAre("1    cut"));
    EXPECT_THAT(scan("no records here\n\n"), IsEmpty());
}

TEST(LogScanner, FindsRecordsInALineLongerThanItsBuffer) {
    constexpr std::size_t buffer = log_scanner::LEAST_BUFFER_SIZE;
    const std::string text = sample("topoff_set");
    for (std::size_t before = buffer - 2 * text.size() - log_scanner::LONGEST_RECORD; before < 2 * buffer;
         before += 61) {
        const std::string line = std::string(before, '\0') + text + "\n";
        EXPECT_THAT(scan("one\n" + line + std::string(3 * buffer, 'x') + "\n" + text),
                    ElementsAre("2   topoff_set", "4   topoff_set"))
            << before;
    }
}
