// The samples in the form in which the page carries them.

#include <algorithm>
#include <cmath>
#include <functional>

#include "lab/report/channels.h"
#include "lab/report/pack.h"
#include "lab/report/page.h"

namespace lab::page_parts {

namespace {

using rows = std::vector<sample_row>;

constexpr std::int64_t WHOLE_SHARE = 255;  // of a row's cycles; 0 and this mean none and all, exactly
constexpr std::int64_t WHOLE_MEAN = 15;    // the mean is at the greatest value; 0: at the least

// One column of the samples: its name and what it holds for a row.
struct sample_column {
    std::string name;
    std::function<std::int64_t(const sample_row& row)> value;
};

std::int64_t share(std::int64_t in_state, std::int64_t cycles) {
    if (in_state == 0 || in_state == cycles) return in_state == 0 ? 0 : WHOLE_SHARE;
    return std::clamp<std::int64_t>(in_state * WHOLE_SHARE / cycles, 1, WHOLE_SHARE - 1);
}

std::int64_t spread(const thinned_series::range& of) {
    return std::int64_t{of.greatest} - of.least;
}

// Where the mean is between the least and the greatest value: a small number that packs well.
std::int64_t mean_share(const thinned_series::range& of) {
    if (spread(of) == 0) return 0;
    return std::lround((of.mean() - of.least) * WHOLE_MEAN / static_cast<double>(spread(of)));
}

// What only grows or falls, or seldom changes, has its mean in the middle.
bool has_mean(std::size_t which) {
    constexpr channel WITHOUT[] = {channel::stress_h, channel::capacity_left_mpct, channel::full_cycles_milli,
                                   channel::resistance_estimated_decimohm, channel::resistance_true_cpct};
    return std::find(std::begin(WITHOUT), std::end(WITHOUT), static_cast<channel>(which)) ==
           std::end(WITHOUT);
}

void add_channel(std::vector<sample_column>& columns, const rows& all, std::size_t which) {
    const auto range = [which](const sample_row& row) -> const thinned_series::range& {
        return row.values[which];
    };
    const auto is_any = [&all](const auto& holds) { return std::any_of(all.begin(), all.end(), holds); };
    if (!is_any([range](const sample_row& row) { return range(row).count > 0; })) return;
    const std::string name(channel_names[which]);
    columns.push_back({name + ".least", [=](const sample_row& row) {
                           return range(row).count > 0 ? std::int64_t{range(row).least} : 0;
                       }});
    columns.push_back({name + ".has", [=](const sample_row& row) { return range(row).count > 0 ? 1 : 0; }});
    if (!is_any([range](const sample_row& row) { return spread(range(row)) > 0; })) return;
    columns.push_back({name + ".spread", [=](const sample_row& row) { return spread(range(row)); }});
    if (!has_mean(which)) return;
    columns.push_back({name + ".mean", [=](const sample_row& row) { return mean_share(range(row)); }});
}

void add_state(std::vector<sample_column>& columns, const rows& all, std::size_t state) {
    if (std::none_of(all.begin(), all.end(), [state](const sample_row& row) {
            return state < row.in_state.size() && row.in_state[state] > 0;
        })) {
        return;
    }
    columns.push_back({std::string(state_names[state]),
                       [state](const sample_row& row) { return share(row.in_state[state], row.cycles); }});
}

std::vector<sample_column> columns_of(const rows& all) {
    std::vector<sample_column> columns;
    columns.push_back({"first_t", [](const sample_row& row) { return row.first_t; }});
    columns.push_back({"length_s", [](const sample_row& row) { return row.last_t - row.first_t; }});
    columns.push_back(
        {"after", [](const sample_row& row) { return static_cast<std::int64_t>(row.comes_after); }});
    for (std::size_t i = 0; i < channel_names.size(); ++i) add_channel(columns, all, i);
    for (std::size_t i = 0; i < state_names.size(); ++i) add_state(columns, all, i);
    return columns;
}

}  // namespace

std::vector<std::string> sample_columns(const rows& all) {
    std::vector<std::string> names;
    for (const auto& each : columns_of(all)) names.push_back(each.name);
    return names;
}

std::string sample_bytes(const rows& all) {
    std::string bytes;
    for (const auto& each : columns_of(all)) {
        delta_column column;
        for (const sample_row& row : all) column.add(each.value(row));
        bytes += column.bytes();
    }
    return bytes;
}

}  // namespace lab::page_parts
