#include "lab/metrics/record_parser.h"

#include <gmock/gmock.h>
#include <map>

#include "tests/lab/metrics/sample_records.h"
#include "util/record_index.h"

using lab::metrics::parse_record;
using lab::metrics::parsed_record;
using lab::metrics::verdict;
using testing::HasSubstr;

namespace {

std::string replaced(std::string text, const std::string& old, const std::string& put) {
    const std::size_t at = text.find(old);
    EXPECT_NE(at, std::string::npos) << old;
    return text.replace(at, old.size(), put);
}

}  // namespace

TEST(RecordParser, ReadsBackEveryRecordTheDaemonWrites) {
    const auto samples = test::sample_records();
    ASSERT_EQ(samples.size(), lab::metrics::schemas().size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        SCOPED_TRACE(samples[i].text);
        const parsed_record record = parse_record(samples[i].text);
        EXPECT_EQ(record.result, verdict::good) << record.detail;
        ASSERT_EQ(record.schema, &lab::metrics::schemas()[i]);
        EXPECT_EQ(record.schema->name, samples[i].name);
        ASSERT_EQ(record.schema->fields().size(), samples[i].values.size());
        for (std::size_t field = 0; field < samples[i].values.size(); ++field)
            EXPECT_EQ(record.values[field], samples[i].values[field]) << record.schema->fields()[field].name;
        EXPECT_EQ(record.rest, "");
    }
}

TEST(RecordParser, KnowsARecordCutAtAnyPlaceAndKeepsWhatIsWhole) {
    for (const test::sample_record& sample : test::sample_records()) {
        std::size_t good_before = 0;
        for (std::size_t length = 9; length < sample.text.size(); ++length) {
            const std::string cut = sample.text.substr(0, length);
            const parsed_record record = parse_record(cut);
            ASSERT_EQ(record.result, verdict::cut) << cut << "\n" << record.detail;
            std::size_t good = 0;
            while (good < sample.values.size() && record.values[good].data() != nullptr) {
                EXPECT_EQ(record.values[good], sample.values[good]) << cut;
                ++good;
            }
            EXPECT_GE(good, good_before);
            good_before = good;
        }
        EXPECT_EQ(good_before, sample.values.size());
    }
}

TEST(RecordParser, SaysWhatIsWrong) {
    const std::string good = test::sample_records()[3].text;  // stress_start
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
        {"stress_hours=12001", "stress_hours=12x", verdict::bad_field,
         "stress_hours is not of type int32: \"12x\"", 3},
        {"stress_hours=12001", "stress_hours=", verdict::bad_field, "int32: \"\"", 3},
        {"stress_hours=12001", "stress_hours=2147483648", verdict::bad_field, "2147483648", 3},
        {"stress_hours=12001", "stress_hours=007", verdict::bad_field, "007", 3},
        {"stress_hours=12001", "stress_hours=-0", verdict::bad_field, "-0", 3},
        {"stress_hours=12001", "stress_hours=+7", verdict::bad_field, "+7", 3},
        {"12001;IN", "12001;FL", verdict::bad_field, "the type of stress_hours, \"IN\"", 1},
        {"stress_hours", "hours", verdict::bad_field, "expected the field, \"stress_hours\"", 1},
        {"stress_trip=2;IN,", "", verdict::bad_field, "expected the field, \"stress_trip\"", 2},
        {"table_valid=1;IN,", "table_valid=1;IN,table_valid=1;IN,", verdict::bad_field, "\"stress_hours\"",
         1},
        {":100:", ":101:", verdict::bad_envelope, "the fixed field", 0},
        {"_model=;", "_model=x;", verdict::bad_envelope, "device fields", 0},
        {":NA", ":EU", verdict::bad_envelope, "the region", 4},
        {":NA", ";NA", verdict::bad_envelope, "end of the payload", 4},
    };
    for (const auto& each : cases) {
        const std::string text = replaced(good, each.old, each.put);
        SCOPED_TRACE(text);
        const parsed_record record = parse_record(text);
        EXPECT_EQ(lab::metrics::words(record.result), lab::metrics::words(each.result));
        EXPECT_THAT(record.detail, HasSubstr(each.detail));
        std::size_t good_fields = 0;
        for (std::string_view value : record.values) good_fields += value.data() != nullptr;
        EXPECT_EQ(good_fields, each.good_fields);
    }
}

TEST(RecordParser, TakesRealNumbersAsTheyArePrintedAndNothingElse) {
    const std::string good = test::sample_records()[1].text;  // stress_entry_rejected
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
    for (const auto& schema : lab::metrics::schemas()) {
        EXPECT_EQ(lab::metrics::find_schema_by_name(schema.words), &schema);
        for (const auto& field : schema.fields()) {
            const auto [known, is_new] = units.emplace(field.name, field.unit);
            EXPECT_EQ(known->second, field.unit) << schema.name << "." << field.name;
        }
    }
}
