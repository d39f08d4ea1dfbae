// Traces of troubled devices, and what an independent model of the daemon says of each: every event, every
// column of every cycle, and what the device holds in the end. NAME.txt is never rewritten from what comes out here.

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

#include "core/daemon.h"
#include "lab/io/input_file.h"
#include "lab/recordings/trace_course.h"
#include "tests/support/effects.h"
#include "tests/support/replay.h"
#include "tests/support/transcript.h"

namespace {

namespace fs = std::filesystem;

const fs::path FOLDER = VORN_SOURCE_DIR "/tests/cases/model";

std::vector<std::string> case_names() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(FOLDER)) {
        if (entry.path().extension() == ".txt") names.push_back(entry.path().stem());
    }
    return names;
}

struct model_case {
    test::replay_options start;
    std::vector<std::string> expected;  // events and cycles, then the device
    std::size_t first_line = 0;         // of `expected` in the file, from 1
};

model_case read_case(const std::string& name) {
    std::istringstream text(lab::read_file(FOLDER / (name + ".txt")));
    model_case read;
    std::string line;
    for (bool is_head = true; std::getline(text, line); read.first_line += is_head ? 1 : 0) {
        if (!is_head) {
            if (line != "---") read.expected.push_back(line);
        } else if (line.starts_with("zone ")) {
            read.start.time_zone = line.substr(5);
        } else if (line == "---") {
            is_head = false;
            read.first_line += 2;
        } else if (!test::take_line(line, read.start.start)) {
            throw std::runtime_error(name + ": " + line);
        }
    }
    return read;
}

std::string moment_of(const std::string& line) {
    return line.substr(0, line.find(' '));
}

// The model keeps events and cycles apart: of those at one moment, which may come again, the events are first.
void put_events_first(std::vector<std::string>& lines) {
    for (auto from = lines.begin(); from != lines.end();) {
        const auto to = std::find_if(
            from, lines.end(), [&](const std::string& line) { return moment_of(line) != moment_of(*from); });
        std::stable_partition(
            from, to, [](const std::string& line) { return !line.starts_with(moment_of(line) + " |"); });
        from = to;
    }
}

std::vector<std::string> run(const std::string& trace, const test::replay_options& start) {
    test::transcript heard(test::transcript::records::whole);
    const lab::device_image after = test::replay(trace, start, {&heard});
    std::vector<std::string> lines = heard.texts();
    put_events_first(lines);
    std::ranges::move(test::lines_of(after), std::back_inserter(lines));
    return lines;
}

class Model : public testing::TestWithParam<std::string> {};

TEST_P(Model, SaysTheSame) {
    const model_case read = read_case(GetParam());
    const auto found = run(lab::read_file(FOLDER / (GetParam() + ".csv")), read.start);
    test::expect_same_lines(found, read.expected, "tests/cases/model/" + GetParam() + ".txt",
                            read.first_line);
}

// The events of a run in this process, where each boot follows the one before without a new process.
std::vector<std::string> run_here(const std::string& trace, const test::replay_options& start) {
    ::setenv("TZ", start.time_zone.c_str(), 1);
    ::tzset();
    virtual_device::reset_device();
    virtual_device::device& device = virtual_device::the_device();
    for (const auto& [path, bytes] : start.start.files) device.at(path).put(bytes);
    device.properties.insert(start.start.properties.begin(), start.start.properties.end());
    lab::trace_course course(
        lab::trace_reader(lab::input_file::from_text(trace, "trace.csv"), {}, [](const std::string&) {}));
    test::effects told;
    do {
        course.begin_boot(device);
        daemon_start();
        while (course.next_cycle(device)) daemon_cycle();
        device.forget_volatile_properties();
    } while (course.has_more_boots());
    return told.take();
}

// A daemon that starts again in a process remembers nothing of what was before, whatever that was.
TEST(ModelInOneProcess, SaysTheSameAfterAnythingElse) {
    std::vector<std::string> names = case_names();
    std::map<std::string, std::vector<std::string>> first;
    for (const bool is_again : {false, true}) {
        for (const std::string& name : names) {
            const auto found = run_here(lab::read_file(FOLDER / (name + ".csv")), read_case(name).start);
            if (is_again) test::expect_same_lines(found, first[name], name + " again", 1);
            first.emplace(name, found);
        }
        std::ranges::reverse(names);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, Model, testing::ValuesIn(case_names()), [](const auto& of) {
    std::string name = of.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

}  // namespace
