#include "lab/compare/recordings_difference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <iterator>
#include <map>
#include <tuple>

#include "lab/compare/decision_match.h"
#include "lab/compare/quantities.h"
#include "lab/io/text.h"
#include "lab/io/time_text.h"
#include "lab/recordings/events.h"
#include "lab/recordings/series.h"
#include "lab/story/effect_text.h"
#include "lab/story/features.h"

namespace lab {

namespace {

constexpr std::size_t AROUND = 3;      // effects that surround the first divergence, on either side
constexpr std::size_t MOST_LINES = 5;  // of either build at it
constexpr std::size_t MOST_SHAPES = 2000;

// Everything shown at one reading of the boot clock, in an order of its own.
struct moment {
    std::int64_t nth_boot = -1, boot = 0, elapsed_s = 0;
    std::vector<event> effects;

    auto place() const { return std::tuple(nth_boot, elapsed_s); }
};

auto order_of(const event& of) {
    return std::tie(of.kind, of.name, of.text, of.result, of.priority, of.buffer);
}
bool comes_first(const event& a, const event& b) {
    return order_of(a) < order_of(b);
}

class moment_reader {
  public:
    explicit moment_reader(const std::string& file) : events_(input_file::open(file)) {
        has_next_ = events_.next(next_);
        advance();
    }

    const moment* now() const { return is_over_ ? nullptr : &now_; }

    void advance() {
        now_.effects.clear();
        is_over_ = !has_next_;
        if (is_over_) return;
        if (now_.nth_boot < 0 || next_.boot != now_.boot) now_.nth_boot += 1;
        now_.boot = next_.boot;
        now_.elapsed_s = next_.elapsed_s;
        while (has_next_ && next_.boot == now_.boot && next_.elapsed_s == now_.elapsed_s) {
            now_.effects.push_back(next_);
            has_next_ = events_.next(next_);
        }
        std::sort(now_.effects.begin(), now_.effects.end(), comes_first);
    }

  private:
    event_reader events_;
    event next_;
    bool has_next_ = false, is_over_ = false;
    moment now_;
};

std::string shape_of_effect(const event& of) {
    if (of.kind == event_kind::write) return of.name + (of.result < 0 ? " (failed)" : "");
    return shape_of(effect_text(of));
}

std::string line_of(const char* mark, const event& of) {
    return mark + elapsed_text(of.elapsed_s) + "  " + on_one_line(effect_text(of));
}

// Finds the first moment with a difference and keeps what is around it.
class divergence_finder {
  public:
    void pass(const std::vector<event>& same) {
        for (const event& each : same) {
            if (!found_) {
                before_.push_back(line_of("  ", each));
                if (before_.size() > AROUND) before_.pop_front();
            } else if (after_ < AROUND) {
                found_->lines.push_back(line_of("  ", each));
                after_ += 1;
            }
        }
    }

    void differ(const moment& at, const std::vector<event>& only_old, const std::vector<event>& only_new) {
        if (found_) return;
        found_.emplace(first_divergence{at.boot, at.elapsed_s, {before_.begin(), before_.end()}});
        for (std::size_t i = 0; i < std::min(only_old.size(), MOST_LINES); ++i)
            found_->lines.push_back(line_of("- ", only_old[i]));
        for (std::size_t i = 0; i < std::min(only_new.size(), MOST_LINES); ++i)
            found_->lines.push_back(line_of("+ ", only_new[i]));
    }

    const std::optional<first_divergence>& found() const { return found_; }

  private:
    std::optional<first_divergence> found_;
    std::deque<std::string> before_;
    std::size_t after_ = 0;
};

class effect_counter {
  public:
    // What only one of the builds showed at a moment.
    void add(const moment& at, const std::vector<event>& only_old, const std::vector<event>& only_new) {
        std::map<std::string, std::array<std::int64_t, 2>> here;
        std::map<std::string, const event*> examples;
        for (const auto& [list, side] : {std::pair(&only_old, 0), std::pair(&only_new, 1)}) {
            for (const event& each : *list) {
                const std::string shape = shape_of_effect(each);
                here[shape][static_cast<std::size_t>(side)] += 1;
                examples.emplace(shape, &each);
            }
        }
        for (const auto& [shape, count] : here) {
            effect_difference* const into = entry(shape, *examples.at(shape), at);
            if (into == nullptr) continue;
            const std::int64_t both = std::min(count[0], count[1]);
            into->other_numbers += both;
            into->only_old += count[0] - both;
            into->only_new += count[1] - both;
        }
    }

    std::vector<effect_difference> all() const {
        std::vector<effect_difference> found;
        for (const auto& [key, each] : shapes_) found.push_back(each);
        join_reworded(found);
        return found;
    }

  private:
    effect_difference* entry(const std::string& shape, const event& example, const moment& at) {
        const auto key = std::pair(example.kind, shape);
        const auto found = shapes_.find(key);
        if (found != shapes_.end()) return &found->second;
        if (shapes_.size() >= MOST_SHAPES) return nullptr;
        effect_difference made;
        made.kind = example.kind;
        made.feature = name_of(feature_of(example));
        made.shape = shape;
        made.boot = at.boot;
        made.elapsed_s = at.elapsed_s;
        return &shapes_.emplace(key, made).first->second;
    }

    // A line that is gone and one that is new, equally often and from the same moment on, are one line in other words.
    static void join_reworded(std::vector<effect_difference>& all) {
        for (effect_difference& gone : all) {
            if (gone.only_old == 0 || gone.only_new + gone.other_numbers != 0) continue;
            const auto come = std::find_if(all.begin(), all.end(), [&](const effect_difference& each) {
                return each.kind == gone.kind && each.only_new == gone.only_old &&
                       each.only_old + each.other_numbers == 0 && each.boot == gone.boot &&
                       each.elapsed_s == gone.elapsed_s;
            });
            if (come == all.end()) continue;
            gone.how = effect_change::reworded;
            gone.reworded_to = come->shape;
            gone.only_new = come->only_new;
            come->only_new = 0;
        }
        std::erase_if(all, [](const effect_difference& each) {
            return each.only_old + each.only_new + each.other_numbers == 0;
        });
    }

    std::map<std::pair<event_kind, std::string>, effect_difference> shapes_;
};

void compare_events(const recorded_run& before, const recorded_run& after, loop_difference& into) {
    moment_reader olds(before.events), news(after.events);
    divergence_finder finder;
    effect_counter counter;
    static const std::vector<event> NONE;
    while (olds.now() != nullptr || news.now() != nullptr) {
        const bool has_old =
            olds.now() != nullptr && (news.now() == nullptr || olds.now()->place() <= news.now()->place());
        const bool has_new =
            news.now() != nullptr && (olds.now() == nullptr || news.now()->place() <= olds.now()->place());
        const moment& at = has_old ? *olds.now() : *news.now();
        const std::vector<event>& old_ones = has_old ? olds.now()->effects : NONE;
        const std::vector<event>& new_ones = has_new ? news.now()->effects : NONE;
        std::vector<event> same, only_old, only_new;
        std::set_intersection(old_ones.begin(), old_ones.end(), new_ones.begin(), new_ones.end(),
                              std::back_inserter(same), comes_first);
        std::set_difference(old_ones.begin(), old_ones.end(), new_ones.begin(), new_ones.end(),
                            std::back_inserter(only_old), comes_first);
        std::set_difference(new_ones.begin(), new_ones.end(), old_ones.begin(), old_ones.end(),
                            std::back_inserter(only_new), comes_first);
        finder.pass(same);
        if (!only_old.empty() || !only_new.empty()) {
            finder.differ(at, only_old, only_new);
            counter.add(at, only_old, only_new);
        }
        if (has_old) olds.advance();
        if (has_new) news.advance();
    }
    into.effects = counter.all();
    into.first = finder.found();
}

// The daemon's columns and its stress hours, in the units of their meanings.
std::array<double, COLUMN_COUNT + 1> values_of(const cycle& of) {
    std::array<double, COLUMN_COUNT + 1> values;
    for (std::size_t i = 0; i < COLUMN_COUNT; ++i) values[i] = of.daemon[i] * column_meanings()[i].scale;
    values[COLUMN_COUNT] = of.stress_h;
    return values;
}

void note_columns(const cycle& was, const cycle& is, std::array<column_difference, COLUMN_COUNT + 1>& into) {
    const auto before = values_of(was), after = values_of(is);
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i] == after[i] || (std::isnan(before[i]) && std::isnan(after[i]))) continue;
        column_difference& column = into[i];
        const bool is_first = column.cycles == 0;
        column.cycles += 1;
        if (is_first) {
            column.boot = was.boot;
            column.elapsed_s = was.elapsed_s;
        }
        const bool is_greater = !(std::abs(after[i] - before[i]) <= std::abs(column.after - column.before));
        if (!is_first && !is_greater) continue;
        column.before = before[i];
        column.after = after[i];
    }
}

void compare_series(const recorded_run& before, const recorded_run& after, loop_difference& into) {
    series_reader olds(input_file::open(before.series)), news(input_file::open(after.series));
    std::array<column_difference, COLUMN_COUNT + 1> columns;
    column_difference missing{"cycles"};
    cycle was, is;
    for (;;) {
        const bool has_old = olds.next(was), has_new = news.next(is);
        if (!has_old && !has_new) break;
        if (has_old && has_new) {
            note_columns(was, is, columns);
            continue;
        }
        if (missing.cycles == 0) {
            missing.boot = has_old ? was.boot : is.boot;
            missing.elapsed_s = has_old ? was.elapsed_s : is.elapsed_s;
        }
        missing.cycles += 1;
        (has_old ? missing.before : missing.after) += 1;
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
        columns[i].column = column_name(i);
        if (columns[i].cycles > 0) into.columns.push_back(columns[i]);
    }
    if (missing.cycles > 0) into.columns.push_back(missing);
}

}  // namespace

void compare_recorded(const recorded_run& before, const recorded_run& after, loop_difference& into) {
    compare_events(before, after, into);
    compare_series(before, after, into);
}

}  // namespace lab
