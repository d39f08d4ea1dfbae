// Whether the sample can be used, and the average current.

#include "dyn_soc/internal.h"
#include "util/log.h"
#include "util/status.h"

namespace dyn_soc {
namespace {

// INVALID_VALUE lies outside each range.
constexpr std::int32_t VOLT_MIN_TENTH_MV = 25000;  // voltage < this: the estimator refuses the sample
constexpr std::int32_t VOLT_MAX_TENTH_MV = 50000;  // voltage > this: the estimator refuses the sample
constexpr std::int32_t CURR_MIN_MA = -4000;        // current < this: the estimator refuses the sample
constexpr std::int32_t CURR_MAX_MA = 4000;         // current > this: the estimator refuses the sample
// Battery temperature < this: the thermal zone's is taken, or the sample refused
constexpr std::int32_t TEMP_MIN_DECIC = -300;
// Battery temperature > this: the thermal zone's is taken, or the sample refused
constexpr std::int32_t TEMP_MAX_DECIC = 800;

// While charging.
// Samples in the average current [samples] >= this: a current more than a quarter off it is an outlier
constexpr std::uint32_t OUTLIER_MIN_SAMPLES = 2;
constexpr std::int32_t OUTLIER_BAND = 4;  // average / 4

bool is_within(wrap32 x, std::int32_t min, std::int32_t max) {
    return min <= x && x <= max;
}

bool is_outlier(wrap32 curr_ma, wrap32 i_avg_ma) {
    const wrap32 band = i_avg_ma / OUTLIER_BAND;
    return curr_ma > i_avg_ma + band || curr_ma < i_avg_ma - band;
}

}  // namespace

bool validate_inputs(dyn_soc_record& curr) {
    if (!is_within(curr.volt, VOLT_MIN_TENTH_MV, VOLT_MAX_TENTH_MV)) {
        LOG_ERROR("DYN_SOC error: bad voltage input %d ---\n", curr.volt.value);
        return false;
    }
    if (!is_within(curr.curr_ma, CURR_MIN_MA, CURR_MAX_MA)) {
        LOG_ERROR("DYN_SOC error: bad current input %d ---\n", curr.curr_ma.value);
        return false;
    }
    if (!is_within(curr.temp, TEMP_MIN_DECIC, TEMP_MAX_DECIC)) {
        LOG_ERROR("DYN_SOC error: bad temperature input %d ---\n", curr.temp.value);
        if (!is_within(curr.virt_temp, TEMP_MIN_DECIC, TEMP_MAX_DECIC)) return false;
        LOG_ERROR("DYN_SOC warning: falling back to virtual temp ---\n");
        curr.temp = curr.virt_temp;
    }
    if (curr.chg_sts == STATUS_UNKNOWN) {
        LOG_ERROR("DYN_SOC error: bad charge status input %d ---\n", curr.chg_sts);
        return false;
    }
    return true;
}

void update_avg_curr(const dyn_soc_record& curr) {
    if (curr.chg_sts != s.prev.chg_sts) vorn_queue__init(&s.curr_queue, CURR_SAMPLES);
    if (s.curr_queue.count >= OUTLIER_MIN_SAMPLES && curr.chg_sts == STATUS_CHARGING &&
        is_outlier(curr.curr_ma, s.i_avg_ma)) {
        if (!s.curr_outlier) {
            s.curr_outlier = true;
            s.i_avg_ma = vorn_queue__get_avg(&s.curr_queue);
            return;
        }
        // Two in a row are a new level: the average starts again from here.
        vorn_queue__init(&s.curr_queue, CURR_SAMPLES);
    }
    vorn_queue__overwrite(&s.curr_queue, curr.curr_ma.value);
    s.curr_outlier = false;
    s.i_avg_ma = vorn_queue__get_avg(&s.curr_queue);
}

}  // namespace dyn_soc
