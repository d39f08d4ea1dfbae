#include "tests/support/replay.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "lab/recordings/trace_course.h"
#include "lab/simulation/simulation.h"
#include "tests/support/effects.h"

namespace test {

namespace {

class collector : public lab::listener {
  public:
    explicit collector(replay_result& into) : into_(into) {}

    void on_event(const lab::event& what) override { into_.events.push_back(what); }
    void on_cycle(const lab::cycle& after) override { into_.cycles.push_back(after); }

  private:
    replay_result& into_;
};

std::string words_of(const lab::event& event) {
    switch (event.kind) {
        case lab::event_kind::log:
            return event.text.substr(0, event.text.size() - 1);
        case lab::event_kind::metric:
            return short_record(event.text);
        case lab::event_kind::property_set: {
            const std::size_t vendor = event.name.rfind("vorn.");
            return event.name.substr(vendor == event.name.npos ? 0 : vendor + 5) + "=" + event.text;
        }
        case lab::event_kind::write:
            break;
    }
    return event.name.substr(event.name.rfind('/') + 1);
}

}  // namespace

trace_rows::trace_rows()
    : now_{{"voltage_now", "4000000"},
           {"temp", "250"},
           {"charge_counter", "3750000"},
           {"cycle_count", "12"},
           {"capacity", "50"},
           {"gm30_ui_soc", "5000"},  // hundredths of a percent
           {"thermal_zone6_temp", "25000"},
           {"vbus", "0"},
           {"current_now", "-300000"},
           {"status", "Discharging"},
           {"cell_vendor_name", "ATL"},
           {"realtime_s", ""},
           {"mock_n_day_threshold_sec", ""},
           {"mock_batt_stress_offset", ""},
           {"batt_precharge_uboottimer", ""},
           {"batt_precharge_ubootflag", ""},
           {"faults", ""}},
      csv_("boot,elapsed_s") {
    for (const auto& [column, value] : now_) csv_ += "," + column;
    csv_ += "\n";
}

trace_rows& trace_rows::rows(int count, std::int64_t period_s, const cells& changes) {
    for (const auto& [column, value] : changes) now_.at(column) = value;
    for (int i = 0; i < count; ++i) {
        elapsed_s_ = elapsed_s_ < 0 ? 0 : elapsed_s_ + period_s;
        csv_ += std::to_string(boot_) + "," + std::to_string(elapsed_s_);
        for (const auto& [column, value] : now_) csv_ += "," + value;
        csv_ += "\n";
    }
    return *this;
}

trace_rows& trace_rows::next_boot(const cells& changes) {
    ++boot_;
    elapsed_s_ = -1;
    return row(changes);
}

std::vector<std::string> replay_result::story(const std::vector<std::string>& parts) const {
    std::vector<std::string> lines;
    for (const lab::event& event : events) {
        const bool has_failed = event.kind != lab::event_kind::log && event.result < 0;
        const std::string line = (event.boot == 1 ? "" : std::to_string(event.boot) + ":") +
                                 std::to_string(event.elapsed_s) + " " + words_of(event) +
                                 (has_failed ? " failed" : "");
        if (std::any_of(parts.begin(), parts.end(),
                        [&](const std::string& part) { return line.find(part) != line.npos; }))
            lines.push_back(line);
    }
    return lines;
}

const lab::cycle& replay_result::at(std::int64_t elapsed_s) const {
    for (const lab::cycle& cycle : cycles) {
        if (cycle.elapsed_s == elapsed_s) return cycle;
    }
    throw std::out_of_range("no cycle at " + std::to_string(elapsed_s));
}

lab::device_image replay(const std::string& csv, const replay_options& options,
                         const std::vector<lab::listener*>& listeners) {
    ::setenv("TZ", options.time_zone.c_str(), 1);
    ::tzset();
    lab::trace_course course(lab::trace_reader(lab::input_file::from_text(csv, "trace.csv"),
                                               options.constants, [](const std::string&) {}));
    lab::device_image image = options.start;
    lab::run_session(course, image, listeners);
    return image;
}

replay_result replay(const std::string& csv, const replay_options& options) {
    replay_result result;
    collector listener(result);
    result.image = replay(csv, options, {&listener});
    return result;
}

replay_result simulate(const std::string& scenario) {
    const lab::scenario read = lab::parse_scenario(scenario, "x.toml");
    replay_result result;
    collector listener(result);
    result.image = lab::run_simulation(read, lab::image_at_start(read), {&listener}).image;
    return result;
}

}  // namespace test
