// run_meter: hears a run and makes its result. Between two cycles the state is taken to be that of the first one.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "lab/compare/digest.h"
#include "lab/compare/error_meter.h"
#include "lab/compare/run_result.h"
#include "lab/session/course.h"
#include "lab/session/listener.h"
#include "lab/tally/run_clock.h"

namespace lab {

class run_meter : public listener {
  public:
    // `truth_names` as course::truth_names; `before` is what the device kept from earlier.
    run_meter(run_facts about, const std::vector<std::string>& truth_names, const device_image& before);

    void on_event(const event& what) override;
    void on_cycle(const cycle& after) override;

    // The run is over. To be called once; also after a crash.
    run_result finish();

  private:
    // What is added up from cycle to cycle.
    struct tally {
        span_figures figures;
        error_meter estimated, shown;
        double high_s = 0, stopped_s = 0;

        void close();  // brings the figures up to date
    };
    struct truth_place {
        std::size_t sim_s, level, soc, voltage, capacity, resistance, cycles;
    };

    double moment_of(const cycle& after);
    void pass_time(double passed_s);
    void note_state(const cycle& after);
    void note_flags(const cycle& after);
    void note_step(const cycle& after);
    void measure_estimate(const cycle& after);
    void add_digest(const cycle& after);
    void begin_boot(const cycle& after);
    void end_boot();
    void add_cost(const event& what);
    void tell(const decision& told);

    run_result result_;
    truth_place truth_;
    story told_;
    tally whole_, boot_;
    run_cost pending_;  // of a start-up, before the boot's first cycle
    run_clock clock_;
    digest events_, cycles_;
    double now_s_ = 0;
    std::int64_t elapsed_s_ = 0;
    bool has_cycle_ = false, was_high_ = false, was_stopped_ = false;
    std::int32_t last_step_ = 0;
    std::array<std::size_t, 3> open_stops_{};  // place in stops + 1; 0: none
};

}  // namespace lab
