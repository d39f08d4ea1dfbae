// The command, as a user meets it, on device roots in all conditions.

#include <filesystem>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "lab/device_root.h"
#include "lab/state/daemon_view.h"
#include "lab/state_layout.h"
#include "tests/support/command.h"
#include "tests/support/directory.h"
#include "tests/support/replay.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr char NVCFG[] = "root/mnt/vendor/nvcfg/vorn/";
constexpr char DATA[] = "root/data/vendor/vorn/";

class StateCommand : public testing::Test {
  protected:
    test::command_outcome run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "state");
        return test::run_command(arguments, dir.path());
    }
    test::command_outcome set(std::vector<std::string> assignments) {
        assignments.insert(assignments.begin(), {"set", "root"});
        return run(std::move(assignments));
    }
    json show(const std::string& path = "root") {
        const auto shown = run({"show", "--json", path});
        EXPECT_EQ(shown.status, 0) << shown.err;
        return json::parse(shown.out).at(0);
    }
    static json named(const json& list, const std::string& name) {
        for (const json& each : list) {
            if (each["name"] == name) return each;
        }
        return {};
    }
    json file(const std::string& name) { return named(show()["files"], name); }
    json value(const std::string& field) {
        return named(file(field.substr(0, field.find_first_of(".[")))["fields"], field)["value"];
    }

    test::temporary_directory dir;
};

}  // namespace

// A value for each place, no two alike where the daemon takes more than one: a field that is shown in
// another's stead is found out.
std::string some_value(const lab::state_place& place, std::size_t index) {
    const auto number = static_cast<std::int64_t>(index);
    if (place.field->type == lab::field_type::f32) return std::to_string(100 + number) + ".125";
    if (place.file->name == "dyn_soc_params" && place.field->name != "version") {
        const bool is_resistance = place.field->name.starts_with("dcr_");
        const bool is_numerator = place.field->name.ends_with("_num");
        // Near what the daemon starts from, so that one of the two numbers may change alone.
        return std::to_string((is_resistance  ? is_numerator ? 9000 : 10000
                               : is_numerator ? 2000
                                              : 740) +
                              number - 100);
    }
    return std::to_string(std::min(number + 1000, place.field->greatest));
}

// The line of text that shows the field: one to itself, or the bucket's.
std::string shown_line(const lab::state_place& place, const std::string& value) {
    if (place.file->name != "batt_stress") return "\n  " + place.name() + " +" + value + "[ ,\n]";
    return "\n  \\[" + std::to_string(place.row) + "\\]\\[" + std::to_string(place.column) +
           "\\] +[^ ]+ +[^ ]+ +" + value + " ";
}

TEST_F(StateCommand, ShowsWhatWasSetInEveryField) {
    const auto places = lab::state_places();
    ASSERT_EQ(places.size(), 112U);
    std::vector<std::string> all;
    for (std::size_t i = 0; i < places.size(); ++i) {
        SCOPED_TRACE(places[i].name());
        const std::string given = some_value(places[i], i);
        fs::remove_all(dir / "root");
        const auto done = set({places[i].name() + "=" + given});
        ASSERT_EQ(done.status, 0) << done.err;
        EXPECT_THAT(run({"show", "root"}).out, testing::ContainsRegex(shown_line(places[i], given)));
        all.push_back(places[i].name() + "=" + given);
    }
    // All of them together, and then the ends of what each can hold.
    const auto expect_shown = [&](const std::vector<std::string>& values) {
        const json files = show()["files"];
        for (std::size_t i = 0; i < places.size(); ++i) {
            const json field =
                named(named(files, std::string(places[i].file->name))["fields"], places[i].name());
            EXPECT_EQ(field["name"].get<std::string>() + "=" + field["value"].dump(), values[i]);
        }
    };
    fs::remove_all(dir / "root");
    ASSERT_EQ(set(all).status, 0);
    expect_shown(all);
    for (const auto end : {&lab::state_field::least, &lab::state_field::greatest}) {
        std::vector<std::string> ends = {"--force"};
        for (const lab::state_place& place : places)
            ends.push_back(place.name() + "=" + std::to_string(place.field->*end));
        ASSERT_EQ(set(ends).status, 0);
        for (std::string& each : ends) each += each.starts_with("batt_stress") ? ".0" : "";
        ends.erase(ends.begin());
        expect_shown(ends);
    }
}

TEST_F(StateCommand, TellsWhyTheVoltageIsWhatItIs) {
    ASSERT_EQ(
        set({"batt_stress[8][10]=300", "batt_stress[8][4]=2000", "batt_stress[0][0]=10000", "toc_clients=2"})
            .status,
        0);
    const json stress = show()["stress"];
    EXPECT_EQ(stress["total_hours"], 12300);
    EXPECT_EQ(stress["stress_hours"], 12296);  // 300 * 36.335 + 2000 * 0.6978 + 10000 * 8.6e-9
    EXPECT_EQ(stress["asks_for"], json::parse(R"({"step":2,"voltage_mv":4350})"));
    EXPECT_EQ(stress["volt_bands_mv"][8], ">4400");
    EXPECT_EQ(stress["temp_bands_c"][4], "20-25");
    EXPECT_EQ(stress["hours"][8][4], 2000);
    std::vector<std::pair<int, int>> order;
    double share = 0;
    for (const json& each : stress["buckets"]) {
        order.emplace_back(each["row"], each["column"]);
        share += each["share"].get<double>();
    }
    EXPECT_THAT(order, testing::ElementsAre(std::pair(8, 10), std::pair(8, 4), std::pair(0, 0)));
    EXPECT_NEAR(share, 1, 1e-9);

    const std::string text = run({"show", "root"}).out;
    EXPECT_THAT(text, HasSubstr("total 12300.0 h; stress hours 12296, which ask for step 2, 4350 mV"));
    EXPECT_THAT(text, HasSubstr("next: step 9, 4000 mV, above 16450 stress hours"));
    EXPECT_THAT(text, HasSubstr("  [8][10]         >4400       >50      300.000        36.34"));
    EXPECT_THAT(text, HasSubstr("top of charge: step 2, 4350 mV\n"));
    ASSERT_EQ(set({"batt_stress[8][10]=0"}).status, 0);
    EXPECT_THAT(run({"show", "root"}).out,
                HasSubstr("a step is never lowered, though the stress hours ask for 0 only"));
    // The test offset counts as it does at the daemon's start.
    dir.put(std::string(DATA) + "mock_batt_stress_offset", "16000\n");
    EXPECT_EQ(show()["stress"]["stress_hours"], 17395);
    EXPECT_THAT(run({"show", "root"}).out, HasSubstr("the next start raises it to 9, 4000 mV"));
}

TEST_F(StateCommand, TellsWhatTheParametersStandFor) {
    ASSERT_EQ(set({"dyn_soc_params.dcr_num=8000"}).status, 0);
    EXPECT_EQ(show()["estimator"]["resistance_mohm"], 80);
    EXPECT_EQ(show()["estimator"]["capacity_c"], 27027);
    EXPECT_EQ(show()["estimator"]["capacity_as_stored"], true);
    ASSERT_EQ(set({"--force", "dyn_soc_params.qmax_den=74"}).status, 0);
    const json estimator = show()["estimator"];
    EXPECT_EQ(estimator["capacity_as_stored"], false);
    EXPECT_EQ(estimator["capacity_mah"], 7500);
    EXPECT_EQ(estimator["resistance_as_stored"], true);
    EXPECT_THAT(
        run({"show", "root"}).out,
        HasSubstr("capacity 7500 mAh (27000 C): the default; the stored one (7.508e+04 mAh) is not taken"));
}

// Every file in every condition; what is said of it, and that the others are shown all the same.
TEST_F(StateCommand, ShowsDamagedFilesAsSuch) {
    for (const lab::state_file& kind : lab::state_files) {
        const std::string path = "root" + std::string(kind.path);
        const std::string whole(kind.size, '\1');
        const struct {
            const char* condition;
            std::string bytes;
            std::string_view effect;
        } cases[] = {
            {"too short", "", kind.size == 4 ? kind.when_missing : kind.when_short},
            {"too short", whole.substr(1), kind.when_short},
            {"too long", whole + "x", "reads and writes the first"},
        };
        dir.put("root/mnt/vendor/nvcfg/vorn/toc_clients", "\3");
        dir.put("root/data/vendor/vorn/batt_precharge_ubootflag", "\1");
        for (const auto& each : cases) {
            dir.put(path, each.bytes);
            const json shown = file(std::string(kind.name));
            EXPECT_EQ(shown["condition"], each.condition) << kind.name;
            EXPECT_EQ(shown["size"], each.bytes.size());
            EXPECT_THAT(shown["daemon"].get<std::string>(), HasSubstr(std::string(each.effect)));
            const std::string text = run({"show", "root"}).out;
            EXPECT_THAT(text, HasSubstr(std::string("\n  ") + each.condition + " (" +
                                        std::to_string(each.bytes.size()) + " of "));
            for (const lab::state_file& other : lab::state_files)
                EXPECT_THAT(text, HasSubstr("\n" + std::string(other.name) + ": "));
        }
        fs::remove(dir / path);
        EXPECT_EQ(file(std::string(kind.name))["condition"], "missing");
        EXPECT_EQ(file(std::string(kind.name))["daemon"], kind.when_missing);
        // A directory opens and cannot be read; a loop of links cannot be opened.
        fs::create_directory(dir / path);
        EXPECT_EQ(file(std::string(kind.name))["condition"], "cannot be read");
        EXPECT_EQ(file(std::string(kind.name))["error"], "Is a directory");
        fs::remove(dir / path);
        fs::create_symlink(fs::path(kind.name), dir / path);
        EXPECT_EQ(file(std::string(kind.name))["condition"], "cannot be opened");
        EXPECT_EQ(file(std::string(kind.name))["daemon"], kind.when_missing);
        fs::remove(dir / path);
    }
}

TEST_F(StateCommand, TellsWhatTheDaemonReadsFromPartOfANumber) {
    dir.put(std::string(NVCFG) + "charge_failures", "\5");
    EXPECT_THAT(file("charge_failures")["daemon"].get<std::string>(), HasSubstr("and so reads 2147483397"));
    dir.put(std::string(NVCFG) + "charge_failures", std::string("\xff\xff\xff\xff", 4));
    const json field = file("charge_failures")["fields"][0];
    EXPECT_EQ(field["value"], -1);
    EXPECT_EQ(field["in_range"], false);
    EXPECT_THAT(run({"show", "root"}).out,
                HasSubstr("-1  (out of range: the daemon counts from 1 at the next one)"));
    dir.put(std::string(NVCFG) + "batt_stress", std::string("\0\0\xc0\x7f\0\0\x80\xff", 8));
    EXPECT_EQ(value("batt_stress[0][0]"), "nan");
    EXPECT_EQ(value("batt_stress[0][1]"), "-inf");
    EXPECT_THAT(run({"show", "root"}).out, HasSubstr("the daemon lets it pass, and the stress hours read 0"));
}

TEST_F(StateCommand, KnowsTheFormerDirectory) {
    dir.put(std::string(DATA) + "toc_clients", "\4");
    dir.put(std::string(DATA) + "charge_failures", "\4");
    const json shown = file("toc_clients");
    EXPECT_EQ(shown["former_directory"], true);
    EXPECT_EQ(show()["top_of_charge"]["step"], 4);
    EXPECT_THAT(file("charge_failures")["daemon"].get<std::string>(), HasSubstr("does not take it over"));
    // What is set goes where the daemon keeps it now; the rest of a record comes along.
    ASSERT_EQ(set({"toc_clients=5"}).status, 0);
    EXPECT_EQ(dir.get(std::string(NVCFG) + "toc_clients"), "\5");
    EXPECT_EQ(dir.get(std::string(DATA) + "toc_clients"), "\4");
}

TEST_F(StateCommand, RefusesWhatTheDaemonWouldNotTake) {
    ASSERT_EQ(set({"toc_clients=1", "dyn_soc_params.version=1", "batt_stress[0][0]=1"}).status, 0);
    const auto before = lab::load_device_root(dir / "root");
    const char* refused[] = {
        "toc_clients=10",           "charge_failures=-1",        "charge_failures=2147483647",
        "batt_precharge_timer=-1",  "batt_stress[8][10]=43801",  "batt_stress[8][10]=-0.1",
        "batt_stress[8][10]=inf",   "batt_stress[8][10]=nan",    "dyn_soc_params.version=0",
        "dyn_soc_params.dcr_den=0", "dyn_soc_params.qmax_num=-1"};
    for (const char* each : refused) {
        const auto done = set({"last_battvolt=1", each});
        EXPECT_EQ(done.status, 2) << each;
        EXPECT_EQ(done.out, "");
        EXPECT_THAT(done.err, AllOf(HasSubstr(each), HasSubstr("--force"))) << each;
    }
    for (const char* never :
         {"toc_clients=256", "toc_clients=-1", "toc_clients=", "toc_clients=0x1",
          "charge_failures=2147483648", "last_datetime=2026-02-30T00:00:00Z", "last_datetime=yesterday",
          "batt_stress[8][10]=1,5", "batt_stress=1", "nothing=1", "toc_clients"}) {
        const auto done = set({"--force", "last_battvolt=1", never});
        EXPECT_EQ(done.status, 2) << never;
        EXPECT_EQ(std::count(done.err.begin(), done.err.end(), '\n'), 1) << done.err;
    }
    EXPECT_THAT(set({"toc_clients=256"}).err, HasSubstr("toc_clients=256: not a whole number from 0 to 255"));
    EXPECT_EQ(lab::load_device_root(dir / "root").files, before.files) << "all or nothing";
    for (const char* each : refused) EXPECT_EQ(set({"--force", each}).status, 0) << each;
    // Two numbers that are only together what the daemon takes may be set together.
    EXPECT_EQ(
        set({"dyn_soc_params.version=1", "dyn_soc_params.dcr_num=4", "dyn_soc_params.dcr_den=4"}).status, 0);
}

TEST_F(StateCommand, ChangesNothingBesideWhatIsSet) {
    const std::string long_table = std::string(396, '\0') + "tail";
    dir.put(std::string(NVCFG) + "batt_stress", long_table);
    dir.put(std::string(NVCFG) + "dyn_soc_params", std::string("\1\0\0\0\x10\x27\0\0", 8));
    ASSERT_EQ(set({"batt_stress[0][0]=1", "dyn_soc_params.dcr_den=20000"}).status, 0);
    EXPECT_EQ(dir.get(std::string(NVCFG) + "batt_stress"),
              std::string("\0\0\x80\x3f", 4) + long_table.substr(4));
    EXPECT_EQ(value("dyn_soc_params.dcr_num"), 10000);
    EXPECT_EQ(value("dyn_soc_params.qmax_den"), 740);
    // Nothing is written when one of the files cannot be.
    fs::create_directory(dir / (std::string(NVCFG) + "toc_clients"));
    const auto done = set({"batt_stress[0][0]=2", "toc_clients=1"});
    EXPECT_EQ(done.status, 2);
    EXPECT_THAT(done.err, HasSubstr("toc_clients: Is a directory"));
    EXPECT_EQ(value("batt_stress[0][0]"), 1);
}

// Set, run the daemon, show: the road of a stress trip and of a charge that takes too long.
TEST_F(StateCommand, GoesRoundThroughTheDaemon) {
    ASSERT_EQ(set({"batt_stress[8][10]=500", "toc_clients=0", "charge_failures=3", "batt_precharge_counter=7",
                   "batt_precharge_uboottimer=60", "last_datetime=2026-01-01T00:00:00Z"})
                  .status,
              0);
    test::replay_options options;
    options.start = lab::load_device_root(dir / "root");
    auto rows = test::trace_rows::healthy();
    rows.row({{"status", "Charging"}, {"current_now", "0"}}).rows(7300, 10);
    lab::save_device_root(dir / "after", test::replay(rows.csv(), options).image);

    const json after = show("after");
    EXPECT_EQ(after["top_of_charge"], json::parse(R"({"step":9,"voltage_mv":4000})"));
    EXPECT_EQ(named(named(after["files"], "charge_failures")["fields"], "charge_failures")["value"], 4);
    EXPECT_EQ(
        named(named(after["files"], "batt_precharge_counter")["fields"], "batt_precharge_counter")["value"],
        8);
    EXPECT_EQ(named(named(after["files"], "batt_precharge_timer")["fields"], "batt_precharge_timer")["value"],
              60);
    EXPECT_GT(after["stress"]["total_hours"], 519.9);  // the hours of the run are there too

    const auto changes = run({"diff", "root", "after"});
    EXPECT_EQ(changes.status, 0);
    EXPECT_THAT(changes.out, AllOf(HasSubstr("charge_failures                    3 -> 4 (+1)\n"),
                                   HasSubstr("toc_clients                        0 -> 9 (+9)\n"),
                                   HasSubstr("top of charge                      4450 -> 4000 mV (-450)\n"),
                                   HasSubstr("batt_precharge_timer               none -> 60 s\n"),
                                   HasSubstr("file batt_precharge_timer          missing -> whole\n"),
                                   HasSubstr(" h (+"), HasSubstr("3800-4000 mV, 20-25 °C\n")));
    EXPECT_EQ(run({"diff", "after", "after"}).out, "no difference\n");
    EXPECT_EQ(json::parse(run({"diff", "--json", "after", "after"}).out), json::array());
    const json as_json = json::parse(run({"diff", "--json", "root", "after"}).out);
    EXPECT_THAT(as_json,
                Contains(json::parse(R"({"name":"charge_failures","from":"3","to":"4","difference":"+1"})")));
}

TEST_F(StateCommand, SaysInOneLineWhatItCannotDo) {
    dir.put("root/mnt/vendor/nvcfg/vorn/toc_clients", "\1");
    dir.put("other", "");
    for (const std::vector<std::string>& each :
         std::vector<std::vector<std::string>>{{"show", "nowhere"},
                                               {"show", "other"},
                                               {"show"},
                                               {"diff", "root", "nowhere"},
                                               {"diff", "root", "other"},
                                               {"set", "other", "toc_clients=1"},
                                               {"set", "other/x", "toc_clients=1"},
                                               {"set", "root"}}) {
        const auto done = run(each);
        EXPECT_EQ(done.status, 2) << testing::PrintToString(each);
        EXPECT_EQ(std::count(done.err.begin(), done.err.end(), '\n'), 1) << done.err;
    }
    fs::create_directory(dir / "empty");
    EXPECT_THAT(run({"show", "empty"}).out, HasSubstr("no state file is here"));
    EXPECT_THAT(run({"show", "root"}).out, Not(HasSubstr("no state file is here")));
    // What can be shown is shown before that.
    const auto done = run({"show", "nowhere", "root"});
    EXPECT_EQ(done.status, 2);
    EXPECT_THAT(done.out, HasSubstr("top of charge: step 1, 4400 mV"));
    EXPECT_THAT(done.err, HasSubstr("nowhere: No such file or directory"));
}
