// report: one self-contained page that shows what happened to a battery and why (docs/report.md).
//
// A listener: it hears a run and keeps a bounded picture of it, from which page.h makes the page at the end. Its
// memory does not grow with the run. What the page carries: page_data.h.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/report/channels.h"
#include "lab/report/close_ups.h"
#include "lab/report/far_apart.h"
#include "lab/report/gap_list.h"
#include "lab/report/log_store.h"
#include "lab/report/thinned_list.h"
#include "lab/report/thinned_series.h"
#include "lab/session/course.h"
#include "lab/session/listener.h"
#include "lab/state/stress_table.h"
#include "lab/story/story.h"
#include "lab/tally/charge_sessions.h"
#include "lab/tally/run_clock.h"

namespace lab {

class report : public listener {
  public:
    static constexpr std::size_t MAX_DECISIONS = 20'000;
    static constexpr std::size_t MAX_DECISION_BYTES = 10'000'000;

    // What a scenario does to the phone.
    struct happening {
        std::int64_t at_s = 0;   // since the scenario's start; in happenings(): of the axis
        std::int64_t for_s = 0;  // 0: a moment
        std::string what;
    };
    struct facts {
        std::string title;                     // the scenario's or the trace's name
        std::string origin;                    // "simulation", "replay", "files" or "device"
        bool has_samples = true;               // cycles say what the daemon saw (cycle::seen)
        std::vector<std::string> truth_names;  // course::truth_names
        std::int64_t span_s = 0;           // of the run, where it is known beforehand (cost::known_span_s)
        std::int64_t made_up_clock_s = 0;  // a wall clock that begins exactly there was read nowhere
        std::string source = {};           // the file it was made from
        std::string digest = {};           // of that file (digest_text)
        std::string command = {};          // that made it; empty: this process's own (command_text)
        std::optional<std::uint64_t> seed = {};
        std::string vendor = {};                 // of the cell; empty: not known
        std::vector<happening> happenings = {};  // in order; placed by the truth column "sim_s"
        std::size_t buckets = thinned_series::CAPACITY;
    };
    struct told {
        std::int64_t t = 0;  // axis seconds
        decision what;
        std::string_view line_id = {};  // of the log's line that shows it (log_table.h); empty: not known
    };
    struct stress_state {
        std::optional<stress_hours_table> table;
        std::optional<stress_hours_table> first;  // known before the run or written first in it
        double first_h = 0.0;                     // stress hours of the first table known, without the offset
        double total_h = 0.0;                     // of the last one
        std::int64_t first_t = 0;                 // axis seconds of the two
        std::int64_t last_t = 0;
        // The first table written since the top of charge last changed: from there on hours come at one pace.
        std::optional<double> pace_from_h;
        std::int64_t pace_from_t = 0;
        bool has_changed = false;   // the top of charge, in this run
        std::int64_t offset_h = 0;  // what the daemon adds, in a test
    };

    // `before` is what the device kept from earlier: the histogram until the first write.
    explicit report(facts about, const device_image& before = {});

    void on_event(const event& what) override;
    void on_cycle(const cycle& after) override;
    // For the story's teller; in the order in which the decisions were taken.
    void on_decision(const decision& what, std::string_view line_id = {});
    // The run is over; to be called once.
    void finish();

    const facts& about() const { return about_; }
    const run_clock& clock() const { return clock_; }
    const thinned_series& series() const { return series_; }
    const log_store& log() const { return log_; }
    const thinned_list<told>& decisions() const { return decisions_; }
    const stress_state& stress() const { return stress_; }
    const gap_list& gaps() const { return gaps_; }
    const close_ups& closer() const { return close_ups_; }
    const charge_sessions& sessions() const { return sessions_; }
    const far_apart& displayed_from_gauge() const { return displayed_from_gauge_; }
    const far_apart& displayed_from_true() const { return displayed_from_true_; }
    const std::vector<happening>& happenings() const { return happenings_; }
    // Of all that was drawn: two runs with the same one were the same in every cycle.
    std::uint64_t fingerprint() const { return fingerprint_; }

  private:
    struct truth_channel {
        std::size_t index;  // among the truth columns
        channel into;
        double scale;
    };

    void note_stress_table(std::int64_t t, std::string_view bytes);
    void note_stress_offset(const std::string& text);
    void put_truth(const std::vector<double>& truth);
    void put_full_cycles(const cycle& after);
    void compare_displayed(std::int64_t t);
    void place_happenings(std::int64_t t, std::int64_t scenario_s);
    std::optional<std::int32_t> truth_number(const cycle& after, std::optional<std::size_t> index) const;
    std::uint32_t phone_states(const cycle& after) const;
    void note_fingerprint(std::int64_t t, std::uint32_t states);
    std::size_t decision_group(const decision& what);

    facts about_;
    run_clock clock_;
    thinned_series series_;
    log_store log_;
    thinned_list<told> decisions_;
    std::map<std::string, std::size_t> decision_groups_;  // by feature and weight
    stress_state stress_;
    gap_list gaps_;
    close_ups close_ups_;
    charge_sessions sessions_;
    far_apart displayed_from_gauge_, displayed_from_true_;
    std::vector<happening> happenings_;
    std::size_t next_happening_ = 0;
    std::int64_t full_charge_c_ = 0;  // of the cell, as the daemon first took it to be; 0: not known
    std::int32_t toc_mv_ = 0;
    std::uint64_t fingerprint_ = 0;
    std::vector<truth_channel> truth_channels_;
    std::optional<std::size_t> charger_at_, screen_at_, scenario_time_at_;  // among the truth columns
    std::vector<std::int32_t> values_;  // of one cycle, here so that a cycle allocates nothing
    std::int64_t boot_ = 0, elapsed_s_ = 0, last_cycle_t_ = 0;
};

}  // namespace lab
