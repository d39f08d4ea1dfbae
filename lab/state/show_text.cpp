#include <algorithm>
#include <cmath>

#include "lab/io/print.h"
#include "lab/state/daemon_view.h"
#include "lab/state/show.h"
#include "lab/state/stress_table.h"
#include "lab/state/values.h"
#include "stress/stress_trip.h"

namespace lab {

namespace {

constexpr double PERCENT = 100.0;
constexpr double C_PER_MAH = 3.6;
constexpr std::size_t MOST_BUCKETS = 20;  // told one by one

std::string with_unit(const std::string& value, std::string_view unit) {
    return unit.empty() ? value : value + " " + std::string(unit);
}

bool is_missing(const stored_file& file) {
    return file.condition == file_condition::missing;
}

void show_head(std::string& out, const stored_file& file, const daemon_view& view) {
    print(out, "\n%s: %s\n", std::string(file.kind->name).c_str(), std::string(file.kind->meaning).c_str());
    if (file.is_former) print(out, "  in the former directory: %s\n", file.path.c_str());
    if (file.condition == file_condition::whole) return;
    std::string what(words(file.condition));
    if (file.condition == file_condition::longer || file.condition == file_condition::shorter)
        what += " (" + std::to_string(file.size) + " of " + std::to_string(file.kind->size) + " bytes)";
    if (file.condition == file_condition::not_read || file.condition == file_condition::not_opened)
        what += " (" + file.error + ")";
    const auto number = view.numbers.find(file.kind->name);
    print(out, "  %s: the daemon %s\n", what.c_str(),
          daemon_effect(file, number == view.numbers.end() ? 0 : number->second).c_str());
}

// One line for a field that the file holds.
void show_field(std::string& out, const stored_file& file, const state_place& place) {
    const auto value = value_text(file, place);
    if (!value) return;
    std::string text = with_unit(*value, place.field->unit);
    if (is_time(place)) {
        if (const auto utc = utc_text(std::stoll(*value))) text += ", " + *utc;
    }
    print(out, "  %-28s %s", place.name().c_str(), text.c_str());
    if (!is_in_range(place, *value))
        print(out, "  (out of range: the daemon %s)", std::string(place.field->otherwise).c_str());
    if (is_in_future(place, *value))
        print(out, "  (in the future: the daemon %s)", std::string(FUTURE_EFFECT).c_str());
    out += '\n';
}

void show_table(std::string& out, const daemon_view& view) {
    print(out, "  hours by voltage in mV (rows) and temperature in °C (columns)\n  %11s", "");
    for (std::int32_t column = 0; column < TEMP_BANDS; ++column) print(out, "%8d", column);
    print(out, "\n  %11s", "");
    for (std::int32_t column = 0; column < TEMP_BANDS; ++column)
        print(out, "%8s", temp_band_text(column).c_str());
    print(out, "%10s\n", "all");
    for (std::size_t row = 0; row < VOLT_BANDS; ++row) {
        print(out, "  %-11s",
              (std::to_string(row) + " " + volt_band_text(static_cast<std::int32_t>(row))).c_str());
        double sum = 0;
        for (const float hours : view.hours[row]) {
            print(out, "%8.1f", static_cast<double>(hours));
            sum += hours;
        }
        print(out, "%10.1f\n", sum);
    }
}

void show_buckets(std::string& out, const stress_summary& summary) {
    if (summary.buckets.empty()) return;
    print(out, "  what brought the stress hours\n  %-8s %12s %10s %12s %12s %12s %8s\n", "bucket",
          "voltage mV", "temp °C", " hours", "weight", "stress hours", "share");
    std::size_t told = 0;
    for (const stress_bucket& each : summary.buckets) {
        if (told++ == MOST_BUCKETS) break;
        const std::string bucket = "[" + std::to_string(each.row) + "][" + std::to_string(each.column) + "]";
        print(out, "  %-8s %12s %9s %12.3f %12.4g %12.3f %6.1f %%\n", bucket.c_str(),
              volt_band_text(each.row).c_str(), temp_band_text(each.column).c_str(),
              static_cast<double>(each.hours), each.weight, each.stress_hours, PERCENT * each.share);
    }
    if (summary.buckets.size() > MOST_BUCKETS)
        print(out, "  and %zu more buckets with hours (--json has them all)\n",
              summary.buckets.size() - MOST_BUCKETS);
}

// The level that the stress hours have not reached yet; null beyond the last one.
const stress_trip_level* next_level(std::uint32_t stress_hours) {
    const stress_trip_level* next = nullptr;
    for (const stress_trip_level& level : STRESS_TRIP_LEVELS) {
        if (stress_hours <= level.above_h) next = &level;
    }
    return next;
}

void show_stress(std::string& out, const stored_file& file, const daemon_view& view) {
    for (const state_place& place : state_places_of(*file.kind)) {
        const auto value = value_text(file, place);
        if (!value) continue;
        if (!is_in_range(place, *value)) show_field(out, file, place);
        if (*value == "nan" || *value == "-nan")
            print(out, "  %-28s %s  (the daemon %s)\n", place.name().c_str(), value->c_str(),
                  std::string(NAN_EFFECT).c_str());
    }
    show_table(out, view);
    const stress_summary summary = summarise_stress(view.hours);
    print(out, "  total %.1f h; stress hours %u", summary.total_hours, view.stress_hours);
    if (view.mock_offset_h != 0) print(out, " with the test offset of %u", view.mock_offset_h);
    print(out, ", which ask for step %d, %d mV\n", view.trip_step, voltage_of_step(view.trip_step));
    if (const stress_trip_level* next = next_level(view.stress_hours)) {
        print(out, "  next: step %d, %d mV, above %u stress hours\n", next->step, voltage_of_step(next->step),
              next->above_h);
    }
    show_buckets(out, summary);
}

// What the stored quotient stands for, for a person to see why it is not taken.
std::string quotient_text(const stored_file& file, std::size_t numerator, double factor, const char* unit) {
    const auto fields = file.kind->fields();
    const auto num = value_text(file, {file.kind, &fields[numerator]});
    const auto den = value_text(file, {file.kind, &fields[numerator + 1]});
    if (!num || !den || *den == "0") return "no quotient";
    std::string text;
    print(text, "%.4g %s", std::stod(*num) / std::stod(*den) * factor, unit);
    return text;
}

void show_parameters(std::string& out, const stored_file& file, const daemon_view& view) {
    print(out, "  resistance %.1f mΩ: ", view.resistance / 10.0);
    if (view.takes_resistance) {
        out += "as stored\n";
    } else {
        print(out, "the default; the stored one (%s) is not taken\n",
              quotient_text(file, 1, 100.0, "mΩ").c_str());
    }
    print(out, "  capacity %.0f mAh (%d C): ", view.capacity_c / C_PER_MAH, view.capacity_c);
    if (view.takes_capacity) {
        out += "as stored\n";
    } else {
        print(out, "the default; the stored one (%s) is not taken\n",
              quotient_text(file, 3, 10000.0 / C_PER_MAH, "mAh").c_str());
    }
}

void show_step(std::string& out, const daemon_view& view, bool knows_stress) {
    print(out, "  top of charge: step %d, %d mV", view.toc_step, voltage_of_step(view.toc_step));
    if (knows_stress && view.toc_step > view.trip_step)
        print(out, "; a step is never lowered, though the stress hours ask for %d only", view.trip_step);
    if (knows_stress && view.toc_step < view.trip_step)
        print(out, "; the next start raises it to %d, %d mV, for the stress hours", view.trip_step,
              voltage_of_step(view.trip_step));
    out += '\n';
}

}  // namespace

std::string show_as_text(const stored_state& state) {
    const daemon_view view = ask_daemon(state);
    const bool knows_stress = std::ranges::any_of(
        state.files, [](const stored_file& each) { return each.kind->name == "batt_stress"; });
    std::string out = state.source + "\n";
    if (std::ranges::all_of(state.files, is_missing))
        out += "  no state file is here; a device root has them in mnt/vendor/nvcfg/vorn/\n";
    for (const stored_file& file : state.files) {
        show_head(out, file, view);
        if (file.kind->name == "batt_stress" && !file.bytes.empty()) {
            show_stress(out, file, view);
            continue;
        }
        for (const state_place& place : state_places_of(*file.kind)) show_field(out, file, place);
        if (file.kind->name == "dyn_soc_params" && !file.bytes.empty()) show_parameters(out, file, view);
        if (file.kind->name == "toc_clients") show_step(out, view, knows_stress);
    }
    return out;
}

}  // namespace lab
