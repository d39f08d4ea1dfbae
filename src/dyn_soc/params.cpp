// The parameter file: the four filter values that resistance and capacity follow from.

#include "dyn_soc/internal.h"
#include "util/arith.h"
#include "util/log.h"
#include "util/results.h"

namespace dyn_soc {
namespace {

// As on disk, little-endian (docs/state-files.md).
struct params_file {
    std::int32_t version;
    std::int32_t dcr_num;
    std::int32_t dcr_den;
    std::int32_t qmax_num;
    std::int32_t qmax_den;
};
static_assert(sizeof(params_file) == 20);

constexpr std::int32_t PARAMS_VERSION = 1;

constexpr std::int32_t DEFAULT_DCR = 900;  // 90 mΩ, the quotient of the next two
constexpr std::int32_t DEFAULT_DCR_NUM = 9000;
constexpr std::int32_t DEFAULT_DCR_DEN = 10000;
static_assert(DEFAULT_DCR_NUM * 10000 / DEFAULT_DCR_DEN / 10 == DEFAULT_DCR);
constexpr std::int32_t DEFAULT_QMAX = 27000;  // 7.5 Ah, nearly the quotient of the next two
constexpr std::int32_t DEFAULT_QMAX_NUM = 2000;
constexpr std::int32_t DEFAULT_QMAX_DEN = 740;

// The whole numbers between the bounds of what a cell can have. The quotient itself is tested: ten times a
// damaged one could wrap into the range.
constexpr std::int32_t QMAX_STORED_MIN = 2701;   // stored capacity [C] < this: the default is taken
constexpr std::int32_t QMAX_STORED_MAX = 32399;  // stored capacity [C] > this: the default is taken
static_assert(QMAX_STORED_MIN * 10 >= QMAX_TIMES_10_MIN && (QMAX_STORED_MIN - 1) * 10 < QMAX_TIMES_10_MIN);
static_assert(QMAX_STORED_MAX * 10 <= QMAX_TIMES_10_MAX && (QMAX_STORED_MAX + 1) * 10 > QMAX_TIMES_10_MAX);

constexpr std::int32_t DCR_BASE = 1000;
constexpr std::int32_t QMAX_BASE = 100000;

constexpr std::uint64_t WRITE_INTERVAL_S = 600;  // time since the parameters were written < this: not written
// Change of resistance and of capacity since then < this: not written
constexpr std::int32_t WRITE_CHANGE_PCT = 2;

// Reads the file. False, and flagged, when it cannot be read or is of another version.
bool read_params(params_file& file) {
    file = {};
    if (s.params_import(&file, sizeof file) != RESULT_DONE) {
        LOG_ERROR("DYN_SOC error: failed to read params from file---\n");
        s.err_flags |= ERR_PARAMS_READ;
        return false;
    }
    if (file.version != PARAMS_VERSION) {
        LOG_ERROR("DYN_SOC: file version mismatch: got %d expected %d; discarding data ---\n", file.version,
                  PARAMS_VERSION);
        s.err_flags |= ERR_PARAMS_READ;
        return false;
    }
    LOG_ERROR("PQX DYN_SOC: read values from file version %d: %d %d %d %d ---\n", PARAMS_VERSION,
              file.dcr_num, file.dcr_den, file.qmax_num, file.qmax_den);
    return true;
}

void set_dcr(wrap32 dcr, std::int32_t num, std::int32_t den) {
    s.prev.dcr = dcr;
    s.prev.dcr_num = {0, num, DCR_BASE};
    s.prev.dcr_den = {0, den, DCR_BASE};
}

void set_qmax(wrap32 qmax, std::int32_t num, std::int32_t den) {
    s.prev.qmax = qmax;
    s.prev.qmax_num = {0, num, QMAX_BASE};
    s.prev.qmax_den = {0, den, QMAX_BASE};
}

void accept_dcr(std::int32_t num, std::int32_t den) {
    const wrap32 dcr_times_10 = wrap32{num} * 10000 / den;  // 0, and so refused, when den is 0
    if (dcr_times_10 < DCR_TIMES_10_MIN || dcr_times_10 > DCR_TIMES_10_MAX) return;
    set_dcr(dcr_times_10 / 10, num, den);
    s.written_dcr = s.prev.dcr;
}

void accept_qmax(std::int32_t num, std::int32_t den) {
    const wrap32 qmax = wrap32{num} * 10000 / den;  // likewise
    if (qmax < QMAX_STORED_MIN || qmax > QMAX_STORED_MAX) return;
    set_qmax(qmax, num, den);
    s.written_qmax = qmax;
}

wrap32 change_pct(wrap32 written, wrap32 now) {
    return abs(written - now) * 100 / now;
}

}  // namespace

void load_params() {
    set_dcr(DEFAULT_DCR, DEFAULT_DCR_NUM, DEFAULT_DCR_DEN);
    set_qmax(DEFAULT_QMAX, DEFAULT_QMAX_NUM, DEFAULT_QMAX_DEN);
    params_file file;
    if (!read_params(file)) return;
    accept_dcr(file.dcr_num, file.dcr_den);
    accept_qmax(file.qmax_num, file.qmax_den);
}

void write_back_params() {
    const dyn_soc_record& now = s.prev;
    if (arith::sub(now.time_s, s.last_write_time) < WRITE_INTERVAL_S) return;
    if (change_pct(s.written_dcr, now.dcr) < WRITE_CHANGE_PCT &&
        change_pct(s.written_qmax, now.qmax) < WRITE_CHANGE_PCT) {
        return;
    }
    const params_file file = {PARAMS_VERSION, now.dcr_num.whole, now.dcr_den.whole, now.qmax_num.whole,
                              now.qmax_den.whole};
    if (s.params_export(&file, sizeof file) != RESULT_DONE) {
        // The time of the last write stays, so the next cycle tries again.
        LOG_ERROR("DYN_SOC error: failed to write params to file---\n");
        s.err_flags |= ERR_PARAMS_WRITE;
        return;
    }
    s.written_dcr = now.dcr;
    s.written_qmax = now.qmax;
    s.last_write_time = now.time_s;
    LOG_ERROR("DYN_SOC: successful write to file, version=%d ---\n", PARAMS_VERSION);
}

}  // namespace dyn_soc
