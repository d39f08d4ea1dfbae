// Learning resistance and capacity: each is the quotient of two filtered quantities, which makes a
// least-squares slope. A filter's `whole` moves toward each sample by a fixed fraction.

#include "dyn_soc/internal.h"
#include "util/log.h"
#include "util/status.h"

namespace dyn_soc {
namespace {

constexpr std::int32_t GOOD_CYCLES_MIN = 6;  // undisturbed cycles in a row [cycles] < this: nothing is learnt

constexpr std::int32_t DCR_CURR_ABOVE_MA = 99;  // current, either way, <= this: no resistance is learnt
constexpr std::int32_t DCR_WEIGHT = 5;          // of the base 1000: 1/200 per sample
// Filtered product of the changes [0.1 mV·mA] >= this: no resistance is learnt
constexpr std::int32_t DCR_NUM_REFUSED = 214748;
static_assert(std::int64_t{DCR_NUM_REFUSED} * 10000 <= INT32_MAX);  // what passes can be multiplied

constexpr std::int32_t QMAX_WEIGHT = 1;     // of the base 100000, per sample
constexpr std::int32_t QMAX_MAX_DT_S = 20;  // time since the last cycle > this: no capacity is learnt

void filter(big_int& value, wrap32 sample, std::int32_t weight) {
    value = add_to_big_int(value, value.base, (weight * (sample - value.whole)).value);
}

// A sample out of the band may pull the capacity back toward it, never further out.
bool is_plausible(const soc_delta& delta, wrap32 charge, wrap32 soc_change, wrap32 qmax) {
    const wrap32 implied = charge * 10000 / soc_change * 10;
    if (delta.dsoc == 0 || implied > QMAX_TIMES_10_MAX) return qmax * 10 <= QMAX_TIMES_10_MAX;
    if (implied < QMAX_TIMES_10_MIN) return qmax * 10 >= QMAX_TIMES_10_MIN;
    return true;
}

}  // namespace

bool adapt_dcr_estimate(dyn_soc_record& curr) {
    if (-DCR_CURR_ABOVE_MA <= curr.curr_ma && curr.curr_ma <= DCR_CURR_ABOVE_MA) return false;
    const wrap32 di = curr.curr_ma - s.prev.curr_ma;
    if (di == 0 || s.good_cycles < GOOD_CYCLES_MIN) return false;
    const wrap32 dv = curr.volt - s.prev.volt;
    const wrap32 sample = dv * 10000 / di;
    if (sample < DCR_TIMES_10_MIN || sample > DCR_TIMES_10_MAX) return false;

    filter(curr.dcr_num, di * dv, DCR_WEIGHT);
    filter(curr.dcr_den, di * di, DCR_WEIGHT);
    if (curr.dcr_den.whole == 0) {
        LOG_ERROR("DYN_SOC error: prevented divide by 0 in DCR adapt! ---\n");
        return false;
    }
    if (curr.dcr_num.whole >= DCR_NUM_REFUSED) {
        LOG_ERROR("DYN_SOC error: prevented overflow in DCR adapt! ---\n");
        return false;
    }
    curr.dcr = wrap32{curr.dcr_num.whole} * 10000 / curr.dcr_den.whole / 10;
    return true;
}

bool adapt_qmax_estimate(const soc_delta& delta, dyn_soc_record& curr) {
    if (curr.chg_sts != STATUS_CHARGING && curr.chg_sts != STATUS_DISCHARGING) return false;
    if (delta.dt_s > QMAX_MAX_DT_S || s.good_cycles < GOOD_CYCLES_MIN) return false;
    const wrap32 charge = abs(delta.dq_mas);
    const wrap32 soc_change = abs(delta.dsoc) * 100;
    if (!is_plausible(delta, charge, soc_change, curr.qmax)) return false;

    filter(curr.qmax_num, charge, QMAX_WEIGHT);
    filter(curr.qmax_den, soc_change, QMAX_WEIGHT);
    if (curr.qmax_den.whole == 0) {
        LOG_ERROR("DYN_SOC error: qmax adapt div by 0 ---\n");
        return false;
    }
    curr.qmax = wrap32{curr.qmax_num.whole} * 10000 / curr.qmax_den.whole;
    return true;
}

}  // namespace dyn_soc
