#include "lab/wiring/sample_facts.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "lab/session/sampler.h"

namespace lab {

namespace {

constexpr std::int64_t FIRST_SET_S = 1609459200;  // 2021
constexpr std::int64_t CLOCK_STEP_S = 60;
constexpr std::int64_t LONGEST_JUMP_S = 60;  // between two samples: later the level has moved too
constexpr std::int64_t CLEAR_SHARE = 40;     // of the greatest current so far: less is neither in nor out
constexpr std::uint64_t LEAST_JUMPS = 10;
constexpr std::int64_t CHARGER_UV = 3'000'000;  // on vbus: less is none, and its capacitors

bool is_there(std::string_view cell) {
    return !cell.empty() && cell != CELL_READ_ERROR;
}

class gatherer {
  public:
    explicit gatherer(int current_factor) : factor_(current_factor) {}

    void take(const trace_row& row) {
        facts_.rows += 1;
        std::array<std::optional<std::int64_t>, DEVICE_NODES.size()> now;
        for (std::size_t i = 0; i < DEVICE_NODES.size(); ++i) now[i] = take_node(i, row.nodes[i]);
        if (now[NODE_CURRENT]) *now[NODE_CURRENT] *= factor_;
        const bool is_same_boot = facts_.rows > 1 && row.boot == boot_;
        const std::int64_t gap_s = is_same_boot ? row.elapsed_s - elapsed_s_ : 0;
        if (is_same_boot) take_time(row, gap_s);
        if (row.real_time_s && *row.real_time_s < FIRST_SET_S) facts_.unset_clocks += 1;
        if (!is_same_boot || gap_s != 0) take_charge(now, gap_s);
        at_s_ += std::max<std::int64_t>(gap_s, 0);
        take_direction(now, row.nodes[NODE_STATUS]);
        boot_ = row.boot;
        elapsed_s_ = row.elapsed_s;
        real_time_s_ = row.real_time_s;
        before_ = now;
    }

    sample_facts finish() {
        facts_.span_s = at_s_;
        return std::move(facts_);
    }

  private:
    std::optional<std::int64_t> take_node(std::size_t i, std::string_view cell) {
        node_facts& about = facts_.nodes[i];
        if (!is_there(cell)) {
            about.missing += 1;
            return std::nullopt;
        }
        about.has_column = true;
        if (i == NODE_STATUS || i == NODE_VENDOR) {
            auto& words = i == NODE_STATUS ? facts_.statuses : facts_.vendors;
            if (words.size() < 20 || words.contains(std::string(cell))) words[std::string(cell)] += 1;
            about.values.add(static_cast<std::int64_t>(std::hash<std::string_view>()(cell)));
            return std::nullopt;
        }
        const auto number = node_number(cell);
        if (!number) {
            about.no_number += 1;
            about.example = cell;
            return std::nullopt;
        }
        about.values.add(*number);
        return *number;
    }

    void take_time(const trace_row& row, std::int64_t gap_s) {
        facts_.gaps_s.add(gap_s);
        if (!row.real_time_s || !real_time_s_) return;
        const std::int64_t step_s = *row.real_time_s - *real_time_s_ - gap_s;
        if (std::abs(step_s) <= CLOCK_STEP_S) return;
        facts_.clock_steps += 1;
        if (std::abs(step_s) > std::abs(facts_.largest_step_s)) facts_.largest_step_s = step_s;
    }

    template <typename Nodes>
    void take_charge(const Nodes& now, std::int64_t gap_s) {
        std::optional<double> charge_uah;
        if (gap_s > 0 && now[NODE_CURRENT] && before_[NODE_CURRENT]) {
            const auto current_ua = static_cast<double>(*now[NODE_CURRENT]);
            const auto before_ua = static_cast<double>(*before_[NODE_CURRENT]);
            charge_uah = (current_ua + before_ua) / 2 * static_cast<double>(gap_s) / 3600;
            if (gap_s <= LONGEST_JUMP_S) take_jump(now, current_ua - before_ua);
        }
        facts_.by_level.take(now[NODE_CAPACITY], charge_uah, gap_s);
        facts_.by_counter.take(now[NODE_CHARGE_COUNTER], charge_uah, gap_s);
    }

    template <typename Nodes>
    void take_jump(const Nodes& now, double jump_ua) {
        if (!now[NODE_VOLTAGE] || !before_[NODE_VOLTAGE]) return;
        const auto step_uv = static_cast<double>(*now[NODE_VOLTAGE] - *before_[NODE_VOLTAGE]);
        facts_.answer.product += jump_ua * step_uv;
        facts_.answer.voltage_squared += step_uv * step_uv;
        facts_.answer.squared += jump_ua * jump_ua;
        facts_.answer.jumps += jump_ua != 0 ? 1 : 0;
    }

    // 1 in, -1 out, 0 neither.
    int direction_of(std::int64_t current) {
        greatest_current_ = std::max(greatest_current_, std::abs(current));
        if (std::abs(current) * CLEAR_SHARE < greatest_current_) return 0;
        return current > 0 ? 1 : -1;
    }

    // When current, status and charger turned, and how far apart.
    template <typename Nodes>
    void take_direction(const Nodes& now, std::string_view status) {
        if (now[NODE_CURRENT]) {
            const int direction = direction_of(*now[NODE_CURRENT]);
            (direction > 0 ? facts_.in_rows : facts_.out_rows) += direction != 0 ? 1 : 0;
            for (std::size_t sign = 0; sign < 2 && direction != 0; ++sign) {
                facts_.status_behind_current[sign].leader((direction > 0) == (sign == 0), at_s_);
                facts_.current_behind_charger[sign].follower((direction > 0) == (sign == 0), at_s_);
            }
        }
        if (now[NODE_VBUS]) {
            facts_.status_behind_charger.leader(*now[NODE_VBUS] > CHARGER_UV, at_s_);
            for (turn_lags& each : facts_.current_behind_charger)
                each.leader(*now[NODE_VBUS] > CHARGER_UV, at_s_);
        }
        const bool is_in = status == "Charging" || status == "Full";
        if (is_in || status == "Discharging") {
            for (turn_lags& each : facts_.status_behind_current) each.follower(is_in, at_s_);
            facts_.status_behind_charger.follower(is_in, at_s_);
        }
        if (status != "Full") return;
        facts_.full_rows += 1;
        facts_.full_at_100 += now[NODE_CAPACITY] && *now[NODE_CAPACITY] == 100 ? 1 : 0;
    }

    int factor_;
    sample_facts facts_;
    std::array<std::optional<std::int64_t>, DEVICE_NODES.size()> before_{};
    std::int64_t boot_ = 0, elapsed_s_ = 0, at_s_ = 0;
    std::optional<std::int64_t> real_time_s_;
    std::int64_t greatest_current_ = 0;
};

}  // namespace

// Of a line through the origin, fitted to the changes.
double voltage_answer::significance() const {
    if (jumps < LEAST_JUMPS) return 0;
    const double rest = std::max(voltage_squared - ohm() * product, 0.0) / static_cast<double>(jumps - 1);
    return rest > 0 ? std::abs(ohm()) * std::sqrt(squared / rest) : INFINITY;
}

const node_facts& sample_facts::node(std::string_view name) const {
    const auto* const found = std::ranges::find(DEVICE_NODES, name, &device_file::name);
    return nodes.at(static_cast<std::size_t>(found - DEVICE_NODES.begin()));
}

sample_facts gather_samples(trace_reader& from, int current_factor) {
    gatherer facts(current_factor);
    for (trace_row row; from.next(row);) facts.take(row);
    return facts.finish();
}

}  // namespace lab
