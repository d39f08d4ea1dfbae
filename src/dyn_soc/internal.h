// The estimator's state and the steps of its cycle. For dyn_soc/, its tests and the lab's series; everybody
// else includes dyn_soc.h.
//
//   dyn_soc__init           init.cpp          start; what was learnt (params.cpp)
//   dyn_soc__update         update.cpp        the cycle, which reads like this list:
//   validate_inputs         inputs.cpp        is the sample usable
//   update_avg_curr         inputs.cpp        average current
//   adapt_dcr_estimate      adaptation.cpp    learn the resistance
//   update_soc_estimate     estimation.cpp    state of charge from voltage and moved charge
//   rescale_to_limits       curve_lookup.cpp  0 % and 100 % at the charge limits
//   adapt_qmax_estimate     adaptation.cpp    learn the capacity
//   update_toc_landing_algo landing.cpp       reach 100 % at the end of a charge
//   update_smoother         smoothing.cpp     no jumps
//   next_display_soc        display.cpp       whole percent, one step at a time
//   log_params_metric       display.cpp       the record of all this
//   write_back_params       params.cpp        keep what was learnt
//
// Units: 0.1 mV, mA (positive while charging), 0.1 °C, thousandths of a percent ("m%"), s, 0.1 mΩ, C.
// INVALID_VALUE marks what is not known yet. All formulas are 32-bit and wrap (util/wrap32.h), so no sensor
// value, no stored word and no jump of the clock can trap.
#pragma once

#include <cstdint>

#include "battery/batt_info.h"
#include "util/big_int.h"
#include "util/queue.h"
#include "util/wiring.h"
#include "util/wrap32.h"

namespace dyn_soc {

// dyn_soc_state
constexpr std::int32_t STATE_NOT_INITIALISED = 0;
constexpr std::int32_t STATE_FIRST_CYCLE = 1;
constexpr std::int32_t STATE_RUNNING = 2;
constexpr std::int32_t STATE_DISABLED = 3;

// landing_state
constexpr std::int32_t LANDING_IDLE = 0;
constexpr std::int32_t LANDING_ARMED = 1;  // charging steadily, waiting for the threshold
constexpr std::int32_t LANDING_LANDING = 2;
constexpr std::int32_t LANDING_LANDED = 3;  // the average current has fallen below the target
constexpr std::int32_t LANDING_FULL = 4;

// err_flags, never cleared
constexpr std::uint32_t ERR_BAD_INPUTS = 1;
constexpr std::uint32_t ERR_NO_DISPLAY_SOC = 4;
constexpr std::uint32_t ERR_PARAMS_WRITE = 8;
constexpr std::uint32_t ERR_PARAMS_READ = 16;
constexpr std::uint32_t ERR_NO_BATT_INFO = 64;

constexpr std::uint32_t OCV_SAMPLES = 10;
constexpr std::uint32_t CURR_SAMPLES = 10;
constexpr std::uint32_t SOC_PAST_SAMPLES = 15;
constexpr std::uint32_t VEND_SIZE = 16;  // with the terminator

constexpr std::int32_t SOC_FULL = 100000;  // 100 %, m%
constexpr std::int32_t MPCT_PER_PCT = 1000;
constexpr std::int32_t TENTH_MV_PER_MV = 10;

// What a cell can have, both ends included, each times 10: 45.1 mΩ to below 180 mΩ, 0.75 Ah to 9 Ah.
// Resistance: 0.1 mV / mA is 1000 * 0.1 mΩ, so the quotient times 10000 is ten times the resistance.
// Capacity: mA s / m% is 100 C, so mA s * 10000 / (m% * 100) is the capacity.
constexpr std::int32_t DCR_TIMES_10_MIN = 4510;   // resistance, measured or stored [0.01 mΩ] < this: refused
constexpr std::int32_t DCR_TIMES_10_MAX = 17999;  // resistance, measured or stored [0.01 mΩ] > this: refused
// Capacity that a cycle implies [0.1 C] < this: learnt only by a capacity not below it
constexpr std::int32_t QMAX_TIMES_10_MIN = 27001;
// Capacity that a cycle implies [0.1 C] > this: learnt only by a capacity not above it
constexpr std::int32_t QMAX_TIMES_10_MAX = 323999;

// One cycle: what was read, and what each step made of it.
struct dyn_soc_record {
    std::uint64_t time_s;
    wrap32 volt;                 // 0.1 mV
    wrap32 curr_ma;              // mA, positive while charging
    wrap32 temp;                 // 0.1 °C; the thermal zone's where the battery's was unusable
    wrap32 virt_temp;            // 0.1 °C, thermal zone
    wrap32 dcr;                  // 0.1 mΩ, resistance
    big_int dcr_num;             // 0.1 mV * mA, filtered dI * dV
    big_int dcr_den;             // mA², filtered dI²
    wrap32 qmax;                 // C, capacity
    big_int qmax_num;            // mA s, filtered charge moved per cycle
    big_int qmax_den;            // m% * 100, filtered change of the state of charge per cycle
    wrap32 ocv;                  // 0.1 mV, open-circuit voltage
    wrap32 ocv_avg;              // 0.1 mV, mean of `ocv` and the queue
    wrap32 soc_v;                // m%, from the curves at `ocv_avg`
    big_int soc_c;               // m%, counted; its whole part is the value
    wrap32 soc_raw;              // m%, blend of the two
    wrap32 soc_ext;              // m%, displayed by the system
    wrap32 soc_pre_scal;         // m%, what is rescaled
    wrap32 soc_scal;             // m%, 0 at the bottom and 100000 at the top of charge voltage
    wrap32 soc_act;              // m%, after the landing
    wrap32 soc_smooth;           // m%, after the smoother
    wrap32 soc_min;              // m%, least and
    wrap32 soc_max;              //     greatest `soc_raw` since the status last changed
    wrap32 soc_ui;               // %, to display
    std::int32_t chg_sts;        // status code (util/status.h)
    std::int32_t landing_state;  // LANDING_*
    wrap32 i_targ_ma;            // mA, average current below which the landing is done
    wrap32 soc_off;              // m%, offset while landing, not positive
    wrap32 smooth_from_act;      // m%, `soc_act` when the smoothing began
    wrap32 smooth_from_smooth;   // m%, `soc_smooth` when it began
    wrap32 smooth_target;        // m%, `soc_act` at which it ends
    bool smoothing_active;
};

// The last look-up of the states of charge at the charge limits, and what it was for.
struct tocboc_lookup {
    wrap32 soc_toc;  // m%
    wrap32 soc_boc;  // m%
    wrap32 toc_key;  // 0.1 mV
    wrap32 boc_key;  // 0.1 mV
    wrap32 temp;     // 0.1 °C
};

// The two of the battery's curves between which a temperature lies.
struct curve_pair {
    const std::int32_t* warmer;
    const std::int32_t* colder;
    wrap32 weight;  // of the colder one, thousandths; below 0 or above 1000 it extrapolates
};

// Where a look-up ended: the segments of the two curves. It saves the search, and the result is the same from any.
struct curve_place {
    std::int32_t warmer;
    std::int32_t colder;
};

// Changes since the last cycle, handed from the estimate to the learning of the capacity.
struct soc_delta {
    wrap32 dt_s;
    wrap32 dq_mas;  // mA s
    wrap32 dsoc;    // m%
};

// Everything the estimator remembers.
struct module_state {
    std::int32_t dyn_soc_state;  // STATE_*
    const batt_info* battery;
    record_import_fn params_import;
    record_export_fn params_export;
    char vend[VEND_SIZE];             // for the records
    std::uint32_t err_flags;          // ERR_*, since start
    std::uint32_t num_aborts;         // cycles abandoned since start
    dyn_soc_record prev;              // the last cycle that succeeded
    vorn_queue ocv_queue;             // 0.1 mV
    vorn_queue curr_queue;            // mA
    wrap32 i_avg_ma;                  // mA, mean of `curr_queue`
    bool curr_outlier;                // the last current was set aside
    vorn_queue soc_past_queue;        // m%, `soc_smooth` of every fourth cycle
    wrap32 cycle_count;               // since the last entry there, 0 to 3
    wrap32 good_cycles;               // in a row without a gap or a change of status
    std::uint64_t chg_sts_time;       // s, when the status last changed
    std::uint64_t last_write_time;    // s, of the parameter file
    std::uint64_t last_daily_metric;  // s, the three triggers of the parameter record
    std::uint64_t last_low_metric;
    std::uint64_t last_high_metric;
    wrap32 written_dcr;             // 0.1 mΩ, as the file has it
    wrap32 written_qmax;            // C, as the file has it
    tocboc_lookup tocboc_cache[2];  // slot 0 is used
    bool tocboc_changed;            // a charge limit changed in this cycle
    bool smoother_jump;             // the smoother must start anew from what is shown
    wrap32 toc_slope;               // m% per 10 mV, 100 mV below the top of charge
    wrap32 toc_slope_temp;          // 0.1 °C, where it was taken
    std::int32_t place_of_temp;     // of the look-ups at the temperature,
    curve_place place_of_ocv;       //     at `ocv_avg`,
    curve_place place_above;        //     100 mV above `ocv`,
    curve_place place_below;        //     100 mV below it,
    curve_place place_of_toc;       //     at the top and
    curve_place place_of_boc;       //     at the bottom of charge
};

extern module_state s;

// The steps. Each works on `curr`, which starts the cycle as a copy of `prev`, so a field that no step has
// set yet still holds the value of the cycle before.

// What dyn_soc__init does, for any battery; null where no record is valid.
std::int32_t start(const batt_info* battery, record_import_fn params_import, record_export_fn params_export);

// Keeps the vendor's name for the records: 1 to 15 characters, otherwise "UNKNOWN".
void keep_vendor(const char* vendor);

// Restores what the parameter file holds, each of the two pairs that is plausible; defaults for the other.
void load_params();

// Writes the parameter file when resistance or capacity is 2 % or more off it, every 600 s at most.
void write_back_params();

// False when the sample cannot be used. Puts the thermal zone's temperature where the battery's is unusable.
bool validate_inputs(dyn_soc_record& curr);

// Puts the current into the average, unless it is a first outlier while charging.
void update_avg_curr(const dyn_soc_record& curr);

// Learn from this cycle's change. True when `dcr`, or `qmax`, was computed anew.
bool adapt_dcr_estimate(dyn_soc_record& curr);
bool adapt_qmax_estimate(const soc_delta& delta, dyn_soc_record& curr);

// Sets ocv, ocv_avg, soc_v, soc_c, soc_raw, soc_pre_scal, soc_min and soc_max, and fills `delta`.
void update_soc_estimate(dyn_soc_record& curr, soc_delta& delta);

// The curves to look at for a temperature, 0.1 °C.
curve_pair curves_at(wrap32 temp);

// State of charge, m%, at an open-circuit voltage. Below 0 and above 100000 outside the curves. The search begins at
// `near` and leaves there where it ended.
wrap32 soc_from_curves(wrap32 ocv, const curve_pair& curves, curve_place& near);

// Its slope there, over 100 mV to either side, m% per 10 mV.
wrap32 calc_soc_vs_ocv(wrap32 ocv, const curve_pair& curves);

struct soc_limits {
    wrap32 soc_toc;     // m% on the curves at the top-of-charge voltage
    wrap32 soc_boc;     // m% at the bottom-of-charge voltage
    bool have_changed;  // looked up anew for limits other than those in the slot
};

// The states of charge at the charge limits, from `slot` while limits and temperature are near enough,
// otherwise from the curves into `slot`. 100000 and 0 where the curves put the limits in the wrong order; the
// slot stays.
soc_limits look_up_soc_at_toc_boc(wrap32 toc, wrap32 boc, wrap32 temp, tocboc_lookup& slot);

// Sets soc_scal. True when a charge limit has changed.
bool rescale_to_limits(dyn_soc_record& curr);

struct landing_outcome {
    bool jumps;       // soc_act leaves its course: the smoother must start anew
    bool has_landed;  // in this cycle
    wrap32 soc_land;  // m%, the line of the landing
};

// Sets soc_act; landing_state, soc_off and i_targ_ma on the way.
landing_outcome update_toc_landing_algo(dyn_soc_record& curr);
// Sets landing_state, and what a landing begins with. True when soc_act jumps by it.
bool update_landing_state(dyn_soc_record& curr);
// Emits the record of a landing.
void report_landing(const dyn_soc_record& curr, wrap32 soc_land);

// Sets soc_smooth and the smooth_ fields.
void update_smoother(dyn_soc_record& curr);

// The display state of charge, %, that follows `shown` (INVALID_VALUE: none yet).
wrap32 next_display_soc(wrap32 soc_smooth, wrap32 shown, std::int32_t chg_sts);

// Emits the parameter record daily, and where the display enters its lowest or highest few percent.
void log_params_metric(const dyn_soc_record& curr);

// The drop of a current over the resistance, 0.1 mV, in whole millivolts: mA * 0.1 mΩ = 0.1 µV.
constexpr wrap32 resistive_drop(wrap32 dcr, wrap32 curr_ma) {
    return dcr * curr_ma / 10000 * TENTH_MV_PER_MV;
}

// `x` limited to 0 ... 100 %.
constexpr wrap32 clamp100(wrap32 x) {
    return x <= 0 ? wrap32{0} : x >= SOC_FULL ? wrap32{SOC_FULL} : x;
}

}  // namespace dyn_soc
