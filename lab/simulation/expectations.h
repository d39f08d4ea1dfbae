// Checks a scenario's expectations while it runs, from what the daemon shows alone.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lab/scenario/scenario.h"
#include "lab/session/course.h"
#include "lab/session/listener.h"
#include "lab/story/story.h"

namespace lab {

class expectation_checker : public listener {
  public:
    // `of` must outlive this; `before` is what the device holds at the start.
    expectation_checker(const scenario& of, device_image before);

    void on_event(const event& what) override;
    void on_cycle(const cycle& after) override;
    bool wants_events() const override { return !progress_.empty(); }
    bool wants_cycles() const override { return !progress_.empty(); }
    bool wants_samples() const override { return has_decisions_; }

    // The run is over and left `after`: checks what holds at the end.
    void finish(const device_image& after);

    // One line each: where, what, expected, found.
    const std::vector<std::string>& failures() const { return failures_; }

    struct outcome {
        std::string what;   // and what was expected, as a person reads it
        std::string found;  // empty when it holds
    };
    // Of each expectation, in the scenario's order.
    std::vector<outcome> outcomes() const;

  private:
    struct progress {
        std::int64_t count = 0;
        bool is_done = false;
        bool is_broken = false;  // what must hold throughout did not
        std::string broken_at;
        std::string found;  // not what was expected; empty: it holds
    };

    void apply(const event& what);
    void count(const event& what, std::int64_t at_s);
    void count(const decision& told);
    void watch(const expectation& wanted, progress& so_far, const cycle& after);
    void check(const expectation& wanted, progress& so_far, const cycle& at);
    double value_of(const expectation& wanted, const cycle& at) const;
    std::string found_text(const expectation& wanted, const progress& so_far, const cycle& at) const;
    void fail(const expectation& wanted, progress& of, const std::string& found);

    const scenario& scenario_;
    device_image image_;
    std::vector<progress> progress_;
    std::vector<event> pending_;  // of the step under way
    cycle last_;
    std::int64_t boot_ = 0;
    std::int64_t next_due_s_ = 0;
    bool has_throughout_ = false;
    bool has_counts_ = false;
    bool has_decisions_ = false;
    story told_;
    std::vector<decision> decisions_;  // of the step under way
    std::vector<std::string> failures_;
};

}  // namespace lab
