#include "lab/wiring/wiring_checks.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "battery/vendor_table.h"
#include "lab/io/print.h"
#include "lab/io/text.h"
#include "lab/io/time_text.h"
#include "lab/wiring/verdict_sheet.h"

namespace lab {

namespace {

constexpr std::uint64_t FEW_ROWS = 20;        // too few to say anything of movement
constexpr std::int64_t LONG_ENOUGH_S = 3600;  // for a value that must move
constexpr double LEAST_MOVE_PCT = 3;          // of the level, for charge to be held against it
constexpr double LEAST_AGREEMENT = 0.5;       // of the charge counted, in or against the level's direction
constexpr double LEAST_SIGNIFICANCE = 5;      // of how the voltage answers the current: not by chance
constexpr double CAPACITY_MAH = 7500;         // that the daemon's charge timer counts with
constexpr double LEAST_CELL_MAH =
    150;  // no phone has so small a cell; a thousandth of any phone's is smaller
constexpr std::int64_t DECISIVE_CURRENT_UA = 50'000;  // once: a thousandth of any charger's current is below
constexpr std::int64_t LATE_S = 45;                   // four cycles
constexpr std::int64_t SPACING_S = 60;
constexpr std::int64_t DELTA_DECIC = 50;  // that cell and board may differ by

class checker {
  public:
    checker(const dossier& of, const sample_facts* facts) : of_(of), facts_(facts) {}

    std::vector<finding> all() {
        if (facts_ != nullptr && facts_->rows > 0) check_samples();
        check_state_files(of_.image, sheet_);
        return sheet_.finish();
    }

  private:
    void say(std::string_view id, wiring_verdict result, std::string what, std::string raw = "",
             std::uint64_t count = 0) {
        sheet_.say(id, result, std::move(what), std::move(raw), count == 0 ? facts_->rows : count);
    }

    const value_range& values(std::string_view node) const { return facts_->node(node).values; }
    bool has(std::string_view node) const { return values(node).count() > 0; }

    void check_samples() {
        check_presence();
        check_voltage();
        check_current();
        check_temperature();
        check_sign_and_scale();
        check_level();
        check_status();
        check_movement();
        check_vendor();
        check_times();
    }

    void check_presence() {
        std::string absent, gaps, effects;
        std::uint64_t missing = 0;
        for (std::size_t i = 0; i < DEVICE_NODES.size(); ++i) {
            const node_facts& node = facts_->nodes[i];
            const std::string name(DEVICE_NODES[i].name);
            if (!node.has_column) absent += (absent.empty() ? "" : " ") + name;
            if (node.has_column && node.missing > 0) {
                gaps += (gaps.empty() ? "" : " ") + name;
                missing += node.missing;
                const std::string effect(effect_without_node(name));
                if (effects.find(effect) == std::string::npos)
                    effects += (effects.empty() ? "" : "; ") + effect;
            }
        }
        if (!gaps.empty()) {
            say("node.present", wiring_verdict::doubtful, "in some samples without: " + gaps, "", missing);
            sheet_.at("node.present").effect = effects;
            return;
        }
        if (!absent.empty())
            return say("node.present", wiring_verdict::not_there, "the recording has none of: " + absent);
        say("node.present", wiring_verdict::ok, "every node in every sample");
    }

    // The check of a node's unit by the middle of its values, or nothing to check.
    bool has_node(std::string_view id, std::string_view node) {
        if (has(node)) return true;
        const node_facts& about = facts_->node(node);
        if (about.no_number > 0)
            say(id, wiring_verdict::wrong, "no number: " + for_message(about.example),
                for_message(about.example), about.no_number);
        else
            say(id, wiring_verdict::not_there, "the recording has no " + std::string(node));
        return false;
    }

    void check_voltage() {
        if (!has_node("unit.voltage", "voltage_now")) return;
        const std::int64_t middle = values("voltage_now").quantile(0.5);
        const std::string raw = std::to_string(middle);
        if (middle >= 2'000'000 && middle <= 5'000'000)
            return say("unit.voltage", wiring_verdict::ok,
                       text_of("%.3f V", static_cast<double>(middle) / 1e6), raw);
        const char* guess = middle >= 2'000 && middle <= 5'000 ? "mV"
                            : middle >= 2 && middle <= 5       ? "V"
                                                               : nullptr;
        say("unit.voltage", wiring_verdict::wrong,
            guess != nullptr ? "reads " + raw + ": that is " + guess
                             : "reads " + raw + ": no cell has that; another node's value?",
            raw);
    }

    void check_current() {
        if (!has_node("unit.current", "current_now")) return;
        const std::int64_t high = values("current_now").magnitude(0.95);
        const std::string raw = std::to_string(high);
        const std::string about = text_of("up to %.0f mA", static_cast<double>(high) / 1e3);
        if (high > 20'000'000)
            return say("unit.current", wiring_verdict::wrong,
                       "reads " + raw + ": more than 20 A; another node's value?", raw);
        const std::int64_t highest =
            std::max(std::abs(values("current_now").least()), std::abs(values("current_now").greatest()));
        if (highest >= DECISIVE_CURRENT_UA) return say("unit.current", wiring_verdict::ok, about, raw);
        if (!has_moving_level())
            return say("unit.current", high == 0 ? wiring_verdict::cannot_say : wiring_verdict::doubtful,
                       about + ", and the level hardly moves", raw);
        const double cell_mah = facts_->by_level.charge_uah() / facts_->by_level.counted() / 10;
        if (high > 0 && cell_mah < LEAST_CELL_MAH)
            return say("unit.current", wiring_verdict::wrong,
                       text_of("by it the cell has %.1f mAh: that is mA", cell_mah), raw);
        say("unit.current", wiring_verdict::ok, about, raw);
    }

    void check_temperature() {
        if (!has_node("unit.temp", "temp")) return;
        const value_range& temp = values("temp");
        const std::int64_t middle = temp.quantile(0.5);
        const std::string raw = std::to_string(middle);
        if (middle > 1'000 || middle < -1'000)
            return say(
                "unit.temp", wiring_verdict::wrong,
                "reads " + raw + (std::abs(middle) < 100'000 ? ": that is m°C" : ": another node's value?"),
                raw);
        const std::string about = text_of("%.1f °C", static_cast<double>(middle) / 10);
        if (has("thermal_zone6_temp")) {
            const std::int64_t zone_decic = values("thermal_zone6_temp").quantile(0.5) / 100;
            const std::int64_t as_is = std::abs(middle - zone_decic);
            const std::int64_t as_degrees = std::abs(10 * middle - zone_decic);
            if (as_degrees + DELTA_DECIC < as_is)
                return say("unit.temp", wiring_verdict::wrong,
                           "reads " + raw +
                               text_of(" where the thermal zone has %.1f °C: that is °C",
                                       static_cast<double>(zone_decic) / 10),
                           raw);
            return say("unit.temp", wiring_verdict::ok, about, raw);
        }
        const bool could_be_degrees =
            temp.least() >= 5 && temp.greatest() <= 60 && temp.greatest() - temp.least() <= 30;
        say("unit.temp", could_be_degrees ? wiring_verdict::doubtful : wiring_verdict::ok,
            could_be_degrees ? about + ", or " + raw + " °C" : about, raw);
    }

    bool is_level_percent() const {
        return has("capacity") && values("capacity").least() >= 0 && values("capacity").greatest() <= 100;
    }
    // So that charge can be held against it.
    bool has_moving_level() const {
        return is_level_percent() && facts_->by_level.counted() >= LEAST_MOVE_PCT;
    }

    // Charge against the level, or the gauge's own count, first; where they hardly move, the voltage answers a jump of
    // the current.
    void check_sign_and_scale() {
        if (!has("current_now")) {
            say("sign.current", wiring_verdict::not_there, "the recording has no current");
            return say("scale.current", wiring_verdict::not_there, "the recording has no current");
        }
        const charge_balance& charge = has_moving_level() ? facts_->by_level : facts_->by_counter;
        const double agreement = charge.agreement(), ohm = facts_->answer.ohm();
        const bool by_charge = charge.counted() > 0 && std::abs(agreement) >= LEAST_AGREEMENT;
        const bool by_jumps = facts_->answer.significance() >= LEAST_SIGNIFICANCE && std::abs(ohm) > 0.005;
        const std::string figures =
            text_of("%.0f %% of the charge goes with the %s; %.0f mΩ by %llu jumps of the current",
                    100 * agreement, has_moving_level() ? "level" : "node charge_counter", 1000 * ohm,
                    static_cast<unsigned long long>(facts_->answer.jumps));
        if (!by_charge && !by_jumps) {
            say("sign.current", wiring_verdict::cannot_say, "neither level nor current moved enough");
        } else if (by_charge && by_jumps && (agreement > 0) != (ohm > 0)) {
            say("sign.current", wiring_verdict::doubtful, "level and voltage disagree: " + figures);
        } else {
            const bool is_right = by_charge ? agreement > 0 : ohm > 0;
            say("sign.current", is_right ? wiring_verdict::ok : wiring_verdict::wrong, figures);
        }
        check_scale(by_charge);
    }

    void check_scale(bool by_charge) {
        const double factor =
            std::abs(static_cast<double>(facts_->by_counter.nah_per_unit().quantile(0.5))) / 1000;
        const bool has_counter = facts_->by_counter.nah_per_unit().count() >= 3;
        if (!by_charge || (!has_moving_level() && !has_counter))
            return say("scale.current", wiring_verdict::cannot_say,
                       "the level did not move enough with the current");
        const double cell_mah =
            has_moving_level() ? facts_->by_level.charge_uah() / facts_->by_level.counted() / 10 : 0;
        const std::string about =
            has_moving_level() ? text_of("%.0f mAh for the whole range", cell_mah) : "the level cannot say";
        const std::string raw = text_of("%.0f", cell_mah);
        // What flows between samples that are far apart is a guess.
        const bool is_sure = (factor < 0.55 || factor > 1.8) && facts_->gaps_s.quantile(0.5) <= 2 * SPACING_S;
        if (has_counter && (factor < 0.8 || factor > 1.25))
            return say("scale.current", is_sure ? wiring_verdict::wrong : wiring_verdict::doubtful,
                       text_of("counts %.2f of what charge_counter says; ", factor) + about, raw);
        const double share = cell_mah / CAPACITY_MAH;
        const bool is_other = has_moving_level() && (share < 0.65 || share > 1.5);
        say("scale.current", is_other ? wiring_verdict::doubtful : wiring_verdict::ok,
            is_other ? about + text_of(", and the daemon counts with %.0f", CAPACITY_MAH) : about, raw);
    }

    void check_level() {
        if (!has_node("range.capacity", "capacity")) return;
        const value_range& level = values("capacity");
        const std::string about = text_of("%lld to %lld", static_cast<long long>(level.least()),
                                          static_cast<long long>(level.greatest()));
        const std::string raw = std::to_string(level.greatest());
        const bool is_far = level.least() < 0 || level.greatest() > 100;
        if (is_far)
            return say("range.capacity", wiring_verdict::wrong, "reads " + about + ": not percent", raw);
        if (level.greatest() <= 1 && facts_->rows > FEW_ROWS && level.changes() > 0)
            return say("range.capacity", wiring_verdict::doubtful, "reads " + about + ": a share of 1?", raw);
        if (facts_->full_rows >= FEW_ROWS && facts_->full_at_100 == 0)
            return say("range.capacity", wiring_verdict::doubtful, "never 100 % while the status is Full",
                       raw, facts_->full_rows);
        say("range.capacity", wiring_verdict::ok, about + " %", raw);
    }

    void check_status() {
        if (facts_->statuses.empty()) {
            say("status.words", wiring_verdict::not_there, "the recording has no status");
            return say("status.delay", wiring_verdict::not_there, "the recording has no status");
        }
        constexpr std::string_view KNOWN[] = {"Charging", "Discharging", "Not charging", "Full", "Unknown"};
        std::uint64_t strange = 0;
        std::string example;
        for (const auto& [word, count] : facts_->statuses) {
            if (std::ranges::find(KNOWN, word) != std::end(KNOWN) || word == CELL_EMPTY_FILE) continue;
            strange += count;
            example = word;
        }
        if (strange > 0)
            say("status.words",
                strange > facts_->rows / 10 ? wiring_verdict::wrong : wiring_verdict::doubtful,
                "no such status: " + for_message(example), for_message(example), strange);
        else
            say("status.words", wiring_verdict::ok,
                std::to_string(facts_->statuses.size()) +
                    (facts_->statuses.size() == 1 ? " status seen" : " of them seen"));
        check_delay();
    }

    // Of the status behind the current; where that cannot tell, since the two lag alike or one of them is stuck, of each
    // behind the charger, which a driver may notice a sample later.
    void check_delay() {
        struct pairing {
            const char *who, *whom;
            const turn_lags& lags;
            std::int64_t limit_s;
        };
        const std::int64_t gap_s = facts_->gaps_s.quantile(0.5);
        const std::int64_t later_s = std::max(LATE_S, gap_s * 3 / 2);
        const std::size_t sign = sheet_.at("sign.current").result == wiring_verdict::wrong ? 1 : 0;
        const pairing all[] = {
            {"status", "current", facts_->status_behind_current[sign], std::max(LATE_S, gap_s / 2)},
            {"status", "charger", facts_->status_behind_charger, later_s},
            {"current", "charger", facts_->current_behind_charger[sign], later_s}};
        // Between two samples that are far apart one may fall by chance: three times hardly.
        const std::size_t least = gap_s > LATE_S ? 3 : 2;
        const auto is_late = [&](const pairing& each) {
            return each.lags.count() >= least && std::abs(each.lags.middle_s()) > each.limit_s;
        };
        const pairing* told = std::ranges::find_if(all, is_late);
        if (told == std::end(all))
            told = std::ranges::find_if(all, [](const pairing& each) { return each.lags.count() > 0; });
        if (told == std::end(all))
            return say("status.delay", wiring_verdict::cannot_say,
                       "no change of the status goes with one of the current");
        const std::int64_t lag_s = told->lags.middle_s();
        const std::string about = lag_s == 0 ? std::string("and ") + told->whom + " change together"
                                             : duration_text(std::abs(lag_s)) +
                                                   (lag_s < 0 ? " before the " : " behind the ") + told->whom;
        say("status.delay", is_late(*told) ? wiring_verdict::doubtful : wiring_verdict::ok,
            std::string(told->who) + " " + about, std::to_string(lag_s), told->lags.count());
    }

    // `must_move`: something else shows that the value cannot have stood still.
    void check_moves(std::string_view id, std::string_view node, bool must_move,
                     wiring_verdict where_it_must) {
        const value_range& range = values(node);
        if (range.count() == 0)
            return say(id, wiring_verdict::not_there, "the recording has no " + std::string(node));
        if (range.changes() > 0)
            return say(id, wiring_verdict::ok,
                       std::to_string(range.changes()) + (range.changes() == 1 ? " change" : " changes"));
        const bool is_long = range.count() >= FEW_ROWS && facts_->span_s >= LONG_ENOUGH_S;
        const std::string raw =
            node == "status" ? facts_->statuses.begin()->first : std::to_string(range.least());
        const std::string about = "always " + for_message(raw);
        if (is_long && must_move)
            return say(id, where_it_must, about + ", while others moved", for_message(raw), range.count());
        say(id, wiring_verdict::cannot_say, about + ", and nothing shows that it should have moved",
            for_message(raw), range.count());
    }

    void check_movement() {
        const auto moves = [&](std::string_view node) { return values(node).changes() > FEW_ROWS; };
        const auto range_of = [&](std::string_view node) {
            return values(node).count() > 0 ? values(node).greatest() - values(node).least() : 0;
        };
        const charge_balance &level = facts_->by_level, &counter = facts_->by_counter;
        const bool level_moves = level.moved() >= LEAST_MOVE_PCT || values("capacity").changes() >= 3;
        // A battery that took a good part of its charge, and gave one.
        const bool charge_turns = (is_level_percent() && level.turns()) || counter.turns();
        const bool counter_moves = 10 * range_of("charge_counter") > values("charge_counter").greatest();
        const bool current_flows =
            facts_->in_rows + facts_->out_rows > facts_->rows / 4 && moves("current_now");
        check_moves("moves.voltage", "voltage_now", level_moves || moves("current_now"),
                    wiring_verdict::wrong);
        check_moves("moves.current", "current_now", charge_turns || (level_moves && moves("voltage_now")),
                    wiring_verdict::wrong);
        check_moves("moves.temp", "temp",
                    facts_->span_s >= 4 * LONG_ENOUGH_S && (current_flows || charge_turns),
                    wiring_verdict::doubtful);
        const bool long_charge =
            facts_->span_s >= 12 * LONG_ENOUGH_S && current_flows && moves("voltage_now");
        const bool wide_voltage = 20 * range_of("voltage_now") > values("voltage_now").greatest();
        check_moves("moves.capacity", "capacity",
                    (long_charge && wide_voltage) || (counter.turns() && counter_moves),
                    wiring_verdict::wrong);
        check_moves("moves.status", "status", charge_turns, wiring_verdict::doubtful);
    }

    void check_vendor() {
        if (facts_->vendors.empty())
            return say("vendor.known", wiring_verdict::not_there, "the recording has no cell_vendor_name");
        std::string vendor = facts_->vendors.begin()->first;
        for (const auto& [name, count] : facts_->vendors) {
            if (count > facts_->vendors.at(vendor)) vendor = name;
        }
        const bool is_known = std::ranges::any_of(
            batt_info_vendor_table, [&](const batt_info* each) { return vendor == each->vendor; });
        say("vendor.known", is_known ? wiring_verdict::ok : wiring_verdict::doubtful,
            is_known ? vendor : "no curves of " + for_message(vendor), for_message(vendor),
            facts_->vendors.at(vendor));
    }

    void check_times() {
        const std::int64_t gap_s = facts_->gaps_s.quantile(0.5);
        const bool has_gaps = facts_->gaps_s.count() > 0;
        if (!has_gaps)
            say("spacing", wiring_verdict::cannot_say, "one sample");
        else
            say("spacing", gap_s >= SPACING_S ? wiring_verdict::doubtful : wiring_verdict::ok,
                "every " + duration_text(gap_s) + ", the longest gap " +
                    duration_text(facts_->gaps_s.greatest()),
                std::to_string(gap_s));
        if (facts_->unset_clocks > 0)
            return say("clock.steps", wiring_verdict::doubtful, "not set: before 2021", "",
                       facts_->unset_clocks);
        if (facts_->clock_steps > 0)
            return say("clock.steps", wiring_verdict::doubtful,
                       "stepped, by " + duration_text(facts_->largest_step_s) + " at most",
                       std::to_string(facts_->largest_step_s), facts_->clock_steps);
        say("clock.steps", has_gaps ? wiring_verdict::ok : wiring_verdict::cannot_say,
            has_gaps ? "goes with the boot clock" : "one sample");
    }

    const dossier& of_;
    const sample_facts* facts_;
    verdict_sheet sheet_;
};

}  // namespace

std::vector<finding> check_wiring(const dossier& of, const sample_facts* facts) {
    return checker(of, facts).all();
}

}  // namespace lab
