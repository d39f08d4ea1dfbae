// The command, as an engineer meets it: logs of real runs in every form they come in, and bad ones.

#include <gmock/gmock.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "lab/metrics/record_schema.h"
#include "tests/support/command.h"
#include "tests/support/directory.h"
#include "tests/support/replay.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

// Between them they make the daemon emit every record but the refusal of a lower stress trip.
constexpr const char* SCENARIOS[] = {"refused_properties", "both_reasons", "soft_short", "thermal_runaway",
                                     "damaged_files"};

class MetricsCommand : public testing::Test {
  protected:
    test::command_outcome run(std::vector<std::string> arguments) {
        return test::run_command(arguments, dir.path());
    }
    static std::vector<json> objects(const std::string& text) {
        std::vector<json> found;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) found.push_back(json::parse(line));
        return found;
    }
    // The events of the scenarios, and of a device whose step is higher than its hours call for.
    std::vector<std::string> make_events() {
        std::vector<std::string> files;
        for (const std::string name : SCENARIOS) {
            const auto path = std::string(VORN_SOURCE_DIR) + "/scenarios/" + name + ".toml";
            EXPECT_EQ(run({"simulate", "--quiet", path, "--events", name + ".jsonl"}).status, 0) << name;
            files.push_back(name + ".jsonl");
        }
        dir.put("trace.csv", test::trace_rows::healthy().row().csv());
        EXPECT_EQ(run({"state", "set", "root", "toc_clients=9"}).status, 0);
        EXPECT_EQ(run({"replay", "trace.csv", "--root", "root", "--events", "root.jsonl"}).status, 0);
        files.emplace_back("root.jsonl");
        return files;
    }

    test::temporary_directory dir;
};

// An event as logcat prints it; log lines among the records are there to be passed over.
std::string in_form(const json& event, const std::string& form) {
    const std::string text = event["text"].get<std::string>();
    const std::string letter(1, " ?VDIWEF"[event["priority"].get<int>()]);
    const std::string tag = event["tag"].get<std::string>();
    if (form == "brief") return letter + "/" + tag + "    (  412): " + text;
    if (form == "threadtime") return "06-10 09:00:00.123   412   412 " + letter + " " + tag + "    : " + text;
    return text;
}

}  // namespace

TEST_F(MetricsCommand, ReadsBackEveryRecordThatTheDaemonLeavesInALog) {
    std::vector<std::string> words = {"metrics"};
    std::map<std::string, std::string> logs;
    std::size_t record_count = 0;
    for (const std::string& file : make_events()) {
        words.push_back(file);
        for (const json& event : objects(dir.get(file))) {
            if (event["event"] != "log" && event["event"] != "metric") continue;
            record_count += event["event"] == "metric";
            for (const char* form : {"brief", "threadtime", "raw"}) {
                logs[form] += in_form(event, form);
                if (!logs[form].ends_with('\n')) logs[form] += '\n';
            }
        }
    }
    const auto from_events = run(words);
    ASSERT_EQ(from_events.status, 0) << from_events.err;
    EXPECT_EQ(from_events.err, "vorn-lab: " + std::to_string(record_count) + " records, 0 problems\n");
    std::set<std::string> names;
    for (const json& record : objects(from_events.out)) {
        names.insert(record["record"]);
        const auto* schema = lab::metrics::find_schema(record["schema"].get<std::string>());
        ASSERT_NE(schema, nullptr);
        EXPECT_EQ(record["fields"].size(), schema->fields().size()) << record;
    }
    std::set<std::string> all;
    for (const auto& schema : lab::metrics::schemas()) all.emplace(schema.words);
    EXPECT_EQ(names, all);

    for (const auto& [form, log] : logs) {
        dir.put(form, log);
        const auto done = run({"metrics", form});
        EXPECT_EQ(done.err, from_events.err) << form;
        const auto expected = objects(from_events.out);
        const auto found = objects(done.out);
        ASSERT_EQ(found.size(), expected.size()) << form;
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_EQ(found[i]["record"], expected[i]["record"]);
            EXPECT_EQ(found[i]["fields"], expected[i]["fields"]);
            EXPECT_EQ(found[i].contains("pid"), form != "raw");
            EXPECT_EQ(found[i].value("log_time", ""), form == "threadtime" ? "06-10 09:00:00.123" : "");
        }
        // The same in rows: the header, then one for each.
        const auto rows = run({"metrics", "--csv", form}).out;
        EXPECT_EQ(static_cast<std::size_t>(std::count(rows.begin(), rows.end(), '\n')), record_count + 1);
    }
}

TEST_F(MetricsCommand, KeepsToTheRecordsAskedForAndReadsWhatItCan) {
    const std::string start =
        "W/vorn    (  412): lx6wwu6k:8ynv/2/03330401:100:_deviceId=;SY,_softwareVersion=;SY,_platform=;SY,"
        "_model=;SY,_deviceType=;SY,_countryOfResidence=;SY,table_valid=1;IN,stress_hours=7;IN,stress_trip=0;"
        "IN,"
        "set_prop=0;IN,ver=12;SY:NA\n";
    dir.put("one.log", start + start);
    dir.put("bad.log", start.substr(0, 200) + "\n" + start);
    // The name, by words or by schema, does not swallow the files after it.
    for (const char* name : {"stress start", "stress_start", "8ynv/2/03330401"}) {
        const auto done = run({"metrics", "--record", name, "one.log"});
        EXPECT_EQ(done.status, 0) << done.err;
        EXPECT_EQ(objects(done.out).size(), 2U);
    }
    EXPECT_EQ(run({"metrics", "--record", "topoff set", "--record", "topoff cleared", "one.log"}).out, "");
    const auto done = run({"metrics", "one.log", "nowhere", ".", "bad.log"});
    EXPECT_EQ(done.status, 2);
    EXPECT_EQ(done.err, "vorn-lab: nowhere: No such file or directory; .: Is a directory\n");
    const auto found = objects(done.out);
    ASSERT_EQ(found.size(), 4U);
    EXPECT_EQ(found[2]["problem"], "cut");
    EXPECT_EQ(found[3]["line"], 2);
    EXPECT_EQ(run({"metrics", "bad.log"}).err, "vorn-lab: 1 records, 1 problems\n");
    const auto unknown = run({"metrics", "--record", "nothing", "one.log"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_THAT(unknown.err, AllOf(HasSubstr("no record is called nothing"), HasSubstr("--list")));
}
