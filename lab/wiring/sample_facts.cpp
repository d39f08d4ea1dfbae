#include "lab/wiring/sample_facts.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "lab/session/sampler.h"

namespace lab {

namespace {

constexpr std::int64_t FIRST_SET_S = 1609459200;  // 2021
constexpr std::int64_t CLOCK_STEP_S = 60;
constexpr std::int64_t LONGEST_JUMP_S = 60;      // between two samples: later the level has moved too
constexpr std::int64_t LONGEST_COUNTED_S = 120;  // a longer gap holds an unknown charge
constexpr std::int64_t FAR_PCT = 5;
constexpr double LEAST_COUNTED_UAH = 5'000;  // of charge_counter, which has steps
constexpr std::int64_t CLEAR_SHARE = 20;     // of the greatest current so far: less is neither in nor out
constexpr std::int64_t LAG_WINDOW_S = 1800;

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
        if (is_same_boot && gap_s > 0) take_charge(now, gap_s);
        if (!is_same_boot || gap_s > LONGEST_COUNTED_S) {
            level_.reset();
            anchor_.reset();
        }
        take_level(now);
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
            return i == NODE_STATUS ? std::optional<std::int64_t>(node_status(cell)) : std::nullopt;
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
        if (!now[NODE_CURRENT] || !before_[NODE_CURRENT]) return;
        const auto current_ua = static_cast<double>(*now[NODE_CURRENT]);
        const auto before_ua = static_cast<double>(*before_[NODE_CURRENT]);
        if (gap_s <= LONGEST_COUNTED_S)
            counted_uah_ += (current_ua + before_ua) / 2 * static_cast<double>(gap_s) / 3600;
        if (gap_s > LONGEST_JUMP_S || !now[NODE_VOLTAGE] || !before_[NODE_VOLTAGE]) return;
        const double jump = current_ua - before_ua;
        facts_.charge.jump_product += jump * static_cast<double>(*now[NODE_VOLTAGE] - *before_[NODE_VOLTAGE]);
        facts_.charge.jump_squared += jump * jump;
        facts_.charge.jumps += jump != 0 ? 1 : 0;
    }

    // Charge is counted from one change of the level to another that is far enough away: a level that wobbles between
    // two percents moves no charge, and a change tells more exactly than a percent where the level is.
    template <typename Nodes>
    void take_level(const Nodes& now) {
        if (!now[NODE_CAPACITY]) return;
        const bool changes = level_ && *now[NODE_CAPACITY] != *level_;
        const bool is_far = changes && anchor_ && std::abs(*now[NODE_CAPACITY] - *anchor_) >= FAR_PCT;
        if (is_far) note_window(now);
        if (is_far || (changes && !anchor_)) {
            anchor_ = now[NODE_CAPACITY];
            counted_uah_ = 0;
            counter_ = now[NODE_CHARGE_COUNTER];
        }
        level_ = now[NODE_CAPACITY];
    }

    template <typename Nodes>
    void note_window(const Nodes& now) {
        charge_facts& charge = facts_.charge;
        const auto moved = static_cast<double>(*now[NODE_CAPACITY] - *anchor_);
        charge.along_uah += moved > 0 ? counted_uah_ : -counted_uah_;
        charge.moved_uah += std::abs(counted_uah_);
        charge.level_pct += std::abs(moved);
        if (!now[NODE_CHARGE_COUNTER] || !counter_) return;
        const auto by_counter = static_cast<double>(*now[NODE_CHARGE_COUNTER] - *counter_);
        if (std::abs(by_counter) >= LEAST_COUNTED_UAH)
            charge.per_mille_of_counter.add(std::llround(1000 * counted_uah_ / by_counter));
    }

    // 1 in, -1 out, 0 neither.
    int direction_of(std::int64_t current) {
        greatest_current_ = std::max(greatest_current_, std::abs(current));
        if (std::abs(current) * CLEAR_SHARE < greatest_current_) return 0;
        return current > 0 ? 1 : -1;
    }

    // When current and status turned, and how far apart.
    template <typename Nodes>
    void take_direction(const Nodes& now, std::string_view status_text) {
        if (!now[NODE_STATUS] || !now[NODE_CURRENT]) return;
        const int direction = direction_of(*now[NODE_CURRENT]);
        (direction > 0 ? facts_.in_rows : facts_.out_rows) += direction != 0 ? 1 : 0;
        if (*now[NODE_STATUS] == 4) {
            facts_.full_rows += 1;
            facts_.full_at_100 += now[NODE_CAPACITY] && *now[NODE_CAPACITY] == 100 ? 1 : 0;
        }
        const bool is_in = status_text == "Charging" || status_text == "Full";
        const bool is_out = status_text == "Discharging";
        if (direction != 0 && direction_ != 0 && direction != direction_)
            note_turn(current_turned_s_, status_turned_s_, 1);
        if ((is_in || is_out) && has_status_ && is_in != was_in_)
            note_turn(status_turned_s_, current_turned_s_, -1);
        if (direction != 0) direction_ = direction;
        if (is_in || is_out) {
            was_in_ = is_in;
            has_status_ = true;
        }
    }

    // One of the two turned now. The other's last turn, when it is not yet paired and recent, was the same event.
    void note_turn(std::optional<std::int64_t>& mine, std::optional<std::int64_t>& other, int status_first) {
        if (other && at_s_ - *other <= LAG_WINDOW_S) {
            facts_.status_lags_s.push_back(status_first > 0 ? *other - at_s_ : at_s_ - *other);
            other.reset();
            mine.reset();
        } else {
            mine = at_s_;
        }
    }

    int factor_;
    sample_facts facts_;
    std::array<std::optional<std::int64_t>, DEVICE_NODES.size()> before_{};
    std::int64_t boot_ = 0, elapsed_s_ = 0, at_s_ = 0;
    std::optional<std::int64_t> real_time_s_;
    std::optional<std::int64_t> level_;
    std::optional<std::int64_t> anchor_, counter_;  // level and charge_counter where the count began
    double counted_uah_ = 0;
    std::int64_t greatest_current_ = 0;
    int direction_ = 0;
    bool was_in_ = false, has_status_ = false;
    std::optional<std::int64_t> current_turned_s_, status_turned_s_;
};

}  // namespace

void value_range::add(std::int64_t value) {
    if (count_ > 0 && value != last_) changes_ += 1;
    if (count_ % every_ == 0) kept_.push_back(value);
    if (kept_.size() >= MOST_KEPT) {
        for (std::size_t i = 0; i < kept_.size() / 2; ++i) kept_[i] = kept_[2 * i];
        kept_.resize(kept_.size() / 2);
        every_ *= 2;
    }
    count_ += 1;
    last_ = value;
    least_ = std::min(least_, value);
    greatest_ = std::max(greatest_, value);
}

std::int64_t value_range::quantile(double share) const {
    if (kept_.empty()) return 0;
    std::vector<std::int64_t> sorted = kept_;
    std::ranges::sort(sorted);
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
}

std::int64_t value_range::magnitude(double share) const {
    if (kept_.empty()) return 0;
    std::vector<std::int64_t> sorted;
    for (const std::int64_t each : kept_) sorted.push_back(std::abs(each));
    std::ranges::sort(sorted);
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
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
