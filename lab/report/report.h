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
#include "lab/report/log_store.h"
#include "lab/report/thinned_list.h"
#include "lab/report/thinned_series.h"
#include "lab/session/course.h"
#include "lab/session/listener.h"
#include "lab/state/stress_table.h"
#include "lab/story/story.h"
#include "lab/tally/run_clock.h"

namespace lab {

class report : public listener {
  public:
    static constexpr std::size_t MAX_DECISIONS = 20'000;
    static constexpr std::size_t MAX_DECISION_BYTES = 10'000'000;

    struct facts {
        std::string title;                     // the scenario's or the trace's name
        std::string origin;                    // "simulation", "replay" or "files"
        bool has_samples = true;               // cycles say what the daemon saw (cycle::seen)
        std::vector<std::string> truth_names;  // course::truth_names
        std::int64_t span_s = 0;  // of the run, where it is known beforehand (cost::known_span_s)
    };
    struct told {
        std::int64_t t = 0;  // axis seconds
        decision what;
    };
    struct stress_state {
        std::optional<stress_hours_table> table;
        double first_h = 0.0;      // stress hours of the first table known, without the offset
        double total_h = 0.0;      // of the last one
        std::int64_t first_t = 0;  // axis seconds of the two
        std::int64_t last_t = 0;
        std::int64_t offset_h = 0;  // what the daemon adds, in a test
    };

    // `before` is what the device kept from earlier: the histogram until the first write.
    explicit report(facts about, const device_image& before = {});

    void on_event(const event& what) override;
    void on_cycle(const cycle& after) override;
    // For the story's teller; in the order in which the decisions were taken.
    void on_decision(const decision& what);

    const facts& about() const { return about_; }
    const run_clock& clock() const { return clock_; }
    const thinned_series& series() const { return series_; }
    const log_store& log() const { return log_; }
    const thinned_list<told>& decisions() const { return decisions_; }
    const stress_state& stress() const { return stress_; }

  private:
    struct truth_channel {
        std::size_t index;  // among the truth columns
        channel into;
        double scale;
    };

    void note_stress_table(std::int64_t t, std::string_view bytes);
    void note_stress_offset(const std::string& text);
    void put_truth(const std::vector<double>& truth);
    std::size_t decision_group(const decision& what);

    facts about_;
    run_clock clock_;
    thinned_series series_;
    log_store log_;
    thinned_list<told> decisions_;
    std::map<std::string, std::size_t> decision_groups_;  // by feature and weight
    stress_state stress_;
    std::vector<truth_channel> truth_channels_;
    std::vector<std::int32_t> values_;  // of one cycle, here so that a cycle allocates nothing
    std::int64_t boot_ = 0, elapsed_s_ = 0, last_cycle_t_ = 0;
};

}  // namespace lab
