// The temperatures of a charge, one per cycle, are summed in blocks of 6, and each block's sum is compared
// with that of the block before:
//
//     |<-- 300 s wait -->|t0 t1 t2 t3 t4 t5|t0 t1 t2 t3 t4 t5|t0 ...
//                          sum, kept         sum, compared: a rise of 37 or more raises the flag
#include "monitors/secondary_thermal.h"

#include "util/arith.h"
#include "util/metrics.h"
#include "util/queue.h"
#include "util/results.h"
#include "util/sensor_value.h"
#include "util/status.h"

namespace {

constexpr std::uint64_t CHARGE_WAIT_S = 300;  // time charging >= this: the temperature is watched
constexpr std::uint32_t BLOCK_SAMPLES = 6;    // one minute of 10 s cycles
// Rise of the sum of 6 samples >= this: the thermal flag is raised
constexpr std::int32_t RISE_THRESHOLD_C = 37;
constexpr std::int32_t RELEASE_TEMP_C = 33;     // temperature <= this: the flag may drop
constexpr std::uint64_t RELEASE_AFTER_S = 300;  // time since the flag was raised > this: the flag may drop
constexpr std::uint64_t NO_TIME = INVALID_VALUE;

enum state : std::uint32_t { IDLE = 0, DISABLED = 1, CHARGE_WAIT = 2, MONITORING = 3 };

struct {
    state thermal_state;
    bool thermal_flag;                 // charging must stop
    vorn_queue temp_queue;             // °C, the present block; filled from slot 0
    std::int32_t tsum_prev;            // °C, sum of the block before; INVALID_VALUE = none
    std::uint64_t th_charge_start_s;   // when charging started
    std::uint64_t th_disable_start_s;  // when the flag was raised
    std::int32_t curr_max_ma;          // highest current while monitoring; INVALID_VALUE = none
    std::int32_t temp_rise_max_c;      // highest rise from block to block; INVALID_VALUE = none
} s;

void reset() {
    s.thermal_state = IDLE;
    vorn_queue__init(&s.temp_queue, BLOCK_SAMPLES);
    s.tsum_prev = INVALID_VALUE;
    s.th_charge_start_s = NO_TIME;
    s.th_disable_start_s = NO_TIME;
    s.curr_max_ma = INVALID_VALUE;
    s.temp_rise_max_c = INVALID_VALUE;
}

void raise_flag(std::uint64_t now_s, std::int32_t rise_c, std::int64_t i_ma, std::int32_t v_mv) {
    const std::int32_t* t = s.temp_queue.data;
    EMIT_RECORD(thermal_event, arith::sub(now_s, s.th_charge_start_s), s.tsum_prev, rise_c, t[0], t[1], t[2],
                t[3], t[4], t[5], v_mv, i_ma);
    s.temp_rise_max_c = rise_c;
    s.th_disable_start_s = now_s;
    s.thermal_flag = true;
    s.thermal_state = DISABLED;
}

void wait_for_charge(std::uint64_t now_s, std::int32_t status, std::int32_t temp_c) {
    if (status != STATUS_CHARGING) {
        s.thermal_state = IDLE;
        s.th_charge_start_s = NO_TIME;
    } else if (arith::sub(now_s, s.th_charge_start_s) >= CHARGE_WAIT_S) {
        s.thermal_state = MONITORING;
        vorn_queue__push(&s.temp_queue, temp_c);
    }
}

void monitor(std::uint64_t now_s, std::int32_t status, std::int32_t temp_c, std::int64_t i_ma,
             std::int32_t v_mv) {
    if (s.curr_max_ma == INVALID_VALUE || s.curr_max_ma < i_ma) s.curr_max_ma = arith::low32(i_ma);
    if (status != STATUS_CHARGING) {
        EMIT_RECORD(thermal_charge_ended, s.temp_rise_max_c == INVALID_VALUE ? 0 : s.temp_rise_max_c,
                    s.curr_max_ma);
        reset();
        return;
    }
    vorn_queue__push(&s.temp_queue, temp_c);
    if (!vorn_queue__is_full(&s.temp_queue)) return;

    const std::int32_t sum_c = s.temp_queue.sum;
    if (s.tsum_prev != INVALID_VALUE) {
        const std::int32_t rise_c = arith::sub(sum_c, s.tsum_prev);
        if (rise_c >= RISE_THRESHOLD_C) {
            raise_flag(now_s, rise_c, i_ma, v_mv);
            return;
        }
        if (s.temp_rise_max_c == INVALID_VALUE || s.temp_rise_max_c < rise_c) s.temp_rise_max_c = rise_c;
    }
    s.tsum_prev = sum_c;
    vorn_queue__init(&s.temp_queue, BLOCK_SAMPLES);
}

void release_when_safe(std::uint64_t now_s, std::int32_t status, std::int32_t temp_c, std::int32_t v_mv) {
    const std::uint64_t disabled_s = arith::sub(now_s, s.th_disable_start_s);
    const bool has_cooled = temp_c <= RELEASE_TEMP_C && disabled_s > RELEASE_AFTER_S;
    if (status != STATUS_DISCHARGING && !has_cooled) return;
    EMIT_RECORD(thermal_released, disabled_s, temp_c, v_mv);
    s.thermal_flag = false;
    reset();
}

}  // namespace

void secondary_thermal_detect_init() {
    s = {};
    reset();
}

std::int32_t secondary_thermal_detect_main(std::uint64_t now_s, std::int32_t status, std::int32_t temp_c,
                                           std::int64_t i_ma, std::int32_t v_mv) {
    switch (s.thermal_state) {
        case IDLE:
            if (status == STATUS_CHARGING) {
                s.thermal_state = CHARGE_WAIT;
                s.th_charge_start_s = now_s;
            }
            break;
        case CHARGE_WAIT:
            wait_for_charge(now_s, status, temp_c);
            break;
        case MONITORING:
            monitor(now_s, status, temp_c, i_ma, v_mv);
            break;
        case DISABLED:
            release_when_safe(now_s, status, temp_c, v_mv);
            break;
    }
    return RESULT_DONE;
}

bool get_thermal_flag() {
    return s.thermal_flag;
}
