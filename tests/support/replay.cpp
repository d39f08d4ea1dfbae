#include "tests/support/replay.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "lab/record_text.h"
#include "lab/text.h"
#include "lab/trace_course.h"

namespace test {

namespace {

constexpr char ELAPSED[] = "elapsed_s";
constexpr char BOOT[] = "boot";
constexpr std::int64_t PERIOD_S = 10;

class collector : public lab::listener {
  public:
    explicit collector(replay_result& into) : into_(into) {}

    void on_event(const lab::event& what) override { into_.events.push_back(what); }
    void on_cycle(const lab::cycle& after) override { into_.cycles.push_back(after); }

  private:
    replay_result& into_;
};

void set_time_zone(const std::string& name) {
    ::setenv("TZ", name.c_str(), 1);
    ::tzset();
}

std::string quoted(const std::string& cell) {
    if (cell.find_first_of(",\"\r\n") == cell.npos) return cell;
    std::string text = "\"";
    for (const char c : cell) text += c == '"' ? "\"\"" : std::string(1, c);
    return text + "\"";
}

std::string line_of(const std::vector<std::string>& cells) {
    std::string line;
    for (const std::string& cell : cells) line += quoted(cell) + ",";
    line.back() = '\n';
    return line;
}

}  // namespace

trace_rows::trace_rows(std::vector<std::string> columns) : columns_(std::move(columns)) {
    if (std::find(columns_.begin(), columns_.end(), ELAPSED) == columns_.end())
        columns_.insert(columns_.begin(), ELAPSED);
    values_.resize(columns_.size());
    csv_ = line_of(columns_);
}

trace_rows trace_rows::healthy() {
    const std::vector<std::pair<std::string, std::string>> cells = {
        {ELAPSED, "0"},
        {BOOT, "1"},
        {"realtime_s", ""},
        {"voltage_now", "4000000"},
        {"temp", "250"},
        {"charge_counter", "3750000"},
        {"cycle_count", "12"},
        {"capacity", "50"},
        {"gm30_ui_soc", "50"},
        {"thermal_zone6_temp", "25000"},
        {"vbus", "0"},
        {"current_now", "-300000"},
        {"status", "Discharging"},
        {"cell_vendor_name", "ATL"},
        {"mock_n_day_threshold_sec", ""},
        {"mock_batt_stress_offset", ""},
        {"faults", ""},
    };
    std::vector<std::string> columns;
    for (const auto& [column, value] : cells) columns.push_back(column);
    trace_rows made(std::move(columns));
    std::transform(cells.begin(), cells.end(), made.values_.begin(),
                   [](const auto& cell) { return cell.second; });
    return made;
}

std::size_t trace_rows::index_of(const std::string& column) const {
    const auto found = std::find(columns_.begin(), columns_.end(), column);
    if (found == columns_.end()) throw std::invalid_argument("no column " + column + " in this trace");
    return static_cast<std::size_t>(found - columns_.begin());
}

void trace_rows::add() {
    values_[index_of(ELAPSED)] = std::to_string(elapsed_s_);
    csv_ += line_of(values_);
    has_rows_ = true;
}

trace_rows& trace_rows::row(const cells& changes) {
    return rows(1, PERIOD_S, changes);
}

trace_rows& trace_rows::rows(int count, std::int64_t period_s, const cells& changes) {
    for (const auto& [column, value] : changes) values_[index_of(column)] = value;
    for (int i = 0; i < count; ++i) {
        const bool is_given = i == 0 && changes.contains(ELAPSED);
        if (is_given) {
            elapsed_s_ = lab::parse_integer(changes.at(ELAPSED)).value();
        } else if (has_rows_) {
            elapsed_s_ += period_s;
        }
        add();
    }
    return *this;
}

trace_rows& trace_rows::next_boot(const cells& changes) {
    std::string& boot = values_[index_of(BOOT)];
    boot = std::to_string(lab::parse_integer(boot).value_or(1) + 1);
    cells with_start = changes;
    with_start.emplace(ELAPSED, "0");
    return rows(1, PERIOD_S, with_start);
}

std::vector<std::string> replay_result::logs(std::string_view part) const {
    std::vector<std::string> found;
    for (const lab::event& each : events) {
        if (each.kind == lab::event_kind::log && each.text.find(part) != std::string::npos)
            found.push_back(each.text);
    }
    return found;
}

std::vector<std::string> replay_result::records(std::string_view name) const {
    std::vector<std::string> found;
    for (const lab::event& each : events) {
        if (each.kind != lab::event_kind::metric) continue;
        const std::string_view its_name = lab::record_name(each.text);
        if (!name.empty() && its_name != name) continue;
        found.push_back(std::string(its_name) + " " + std::string(lab::record_payload(each.text)));
    }
    return found;
}

std::vector<std::string> replay_result::values_of(std::string_view property) const {
    std::vector<std::string> values;
    for (const lab::event& each : of(lab::event_kind::property_set, property)) {
        if (each.result == 0) values.push_back(each.text);
    }
    return values;
}

std::vector<lab::event> replay_result::of(lab::event_kind kind, std::string_view name) const {
    std::vector<lab::event> found;
    for (const lab::event& each : events) {
        if (each.kind == kind && (name.empty() || each.name == name)) found.push_back(each);
    }
    return found;
}

replay_result replay(const std::string& csv, const replay_options& options) {
    set_time_zone(options.time_zone);
    lab::trace_course course(lab::trace_reader(lab::input_file::from_text(csv, "trace.csv"),
                                               options.constants, [](const std::string&) {}));
    replay_result result;
    result.image = options.start;
    collector listener(result);
    lab::run_session(course, result.image, {&listener});
    return result;
}

}  // namespace test
