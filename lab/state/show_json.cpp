#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "lab/state/daemon_view.h"
#include "lab/state/show.h"
#include "lab/state/stress_table.h"
#include "lab/state/values.h"

namespace lab {

namespace {

using json = nlohmann::ordered_json;

constexpr double C_PER_MAH = 3.6;

// Hours with the digits that single precision has; what JSON lacks as text.
json hours_json(float hours) {
    if (!std::isfinite(hours)) return std::isnan(hours) ? "nan" : hours > 0 ? "inf" : "-inf";
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, hours).ptr;
    double same = 0;
    std::from_chars(text, end, same);
    return same;
}

json field_json(const state_place& place, const std::string& value) {
    json field = {{"name", place.name()}};
    if (place.field->type == field_type::f32) {
        float hours = 0;
        std::from_chars(value.data(), value.data() + value.size(), hours);
        field["value"] = hours_json(hours);
    } else {
        field["value"] = std::stoll(value);
    }
    if (!place.field->unit.empty()) field["unit"] = place.field->unit;
    if (is_time(place)) {
        if (const auto utc = utc_text(std::stoll(value))) field["utc"] = *utc;
    }
    const bool in_range = is_in_range(place, value);
    field["in_range"] = in_range;
    const std::string_view effect = value_effect(place, value);
    if (!effect.empty()) field["daemon"] = effect;
    return field;
}

json file_json(const stored_file& file, const daemon_view& view) {
    json fields = json::array();
    for (const state_place& place : state_places_of(*file.kind)) {
        if (const auto value = value_text(file, place)) fields.push_back(field_json(place, *value));
    }
    json result = {{"name", file.kind->name}, {"path", file.path}, {"condition", words(file.condition)}};
    if (file.is_former) result["former_directory"] = true;
    if (!file.error.empty()) result["error"] = file.error;
    result["size"] = file.size;
    result["whole_size"] = file.kind->size;
    const auto number = view.numbers.find(file.kind->name);
    const std::string effect = daemon_effect(file, number == view.numbers.end() ? 0 : number->second);
    if (!effect.empty()) result["daemon"] = effect;
    result["fields"] = std::move(fields);
    return result;
}

json step_json(std::int32_t step) {
    return {{"step", step}, {"voltage_mv", voltage_of_step(step)}};
}

json stress_json(const daemon_view& view) {
    const stress_summary summary = summarise_stress(view.hours);
    json rows = json::array();
    for (const auto& row : view.hours) {
        json hours = json::array();
        for (const float each : row) hours.push_back(hours_json(each));
        rows.push_back(std::move(hours));
    }
    json volt_bands = json::array();
    for (std::int32_t row = 0; row < VOLT_BANDS; ++row) volt_bands.push_back(volt_band_text(row));
    json temp_bands = json::array();
    for (std::int32_t column = 0; column < TEMP_BANDS; ++column) temp_bands.push_back(temp_band_text(column));
    json buckets = json::array();
    for (const stress_bucket& each : summary.buckets) {
        buckets.push_back({{"row", each.row},
                           {"column", each.column},
                           {"hours", hours_json(each.hours)},
                           {"weight", each.weight},
                           {"stress_hours", each.stress_hours},
                           {"share", each.share}});
    }
    return {{"volt_bands_mv", volt_bands},
            {"temp_bands_c", temp_bands},
            {"hours", rows},
            {"total_hours", summary.total_hours},
            {"stress_hours", view.stress_hours},
            {"mock_offset_hours", view.mock_offset_h},
            {"asks_for", step_json(view.trip_step)},
            {"buckets", buckets}};
}

}  // namespace

nlohmann::ordered_json show_as_json(const stored_state& state) {
    const daemon_view view = ask_daemon(state);
    json files = json::array();
    json result = {{"source", state.source}};
    json made_of_them = json::object();
    for (const stored_file& file : state.files) {
        files.push_back(file_json(file, view));
        if (file.kind->name == "batt_stress") made_of_them["stress"] = stress_json(view);
        if (file.kind->name == "toc_clients") made_of_them["top_of_charge"] = step_json(view.toc_step);
        if (file.kind->name == "dyn_soc_params") {
            made_of_them["estimator"] = {{"resistance_mohm", view.resistance / 10.0},
                                         {"resistance_as_stored", view.takes_resistance},
                                         {"capacity_mah", view.capacity_c / C_PER_MAH},
                                         {"capacity_c", view.capacity_c},
                                         {"capacity_as_stored", view.takes_capacity}};
        }
    }
    result["files"] = std::move(files);
    result.update(made_of_them);
    return result;
}

}  // namespace lab
