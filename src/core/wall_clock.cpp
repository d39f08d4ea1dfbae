#include "core/wall_clock.h"

#include <ctime>

#include "core/persistent_files.h"
#include "platform/os.h"
#include "util/arith.h"
#include "util/log.h"
#include "util/sensor_value.h"

namespace {

// Wall clock since 1970 <= this: not set since power-on (2020-12-31 23:59:59 UTC)
constexpr std::int64_t LATEST_UNSET_TIME_S = 1609459199;
constexpr double SAME_TIME_S = 1.0;  // time unseen, either way, <= this: none
constexpr float SECONDS_PER_HOUR = 3600.0F;

struct {
    std::int64_t start_time;             // CLOCK_BOOTTIME seconds when the daemon started
    std::uint64_t power_off_checkpoint;  // run time at the previous power-off question, seconds
} s;

// The wall clock, or 0 when it has not been set.
std::int64_t plausible_wall_time_s() {
    const std::int64_t now = os::wall_time_s();
    if (now > LATEST_UNSET_TIME_S) return now;
    LOG_ERROR("time now %ld fails sanity check ---\n", now);
    return 0;
}

void save_datetime(std::int64_t time_s) {
    (void)export_persistent_file(LAST_DATETIME_FILE.path, &time_s,
                                 sizeof time_s);  // the next save tries again
}

// Seconds run since the previous question.
std::uint64_t advance_checkpoint() {
    const std::uint64_t up = elapsed_since_start_s();
    if (s.power_off_checkpoint > up) s.power_off_checkpoint = 0;
    const std::uint64_t run = up - s.power_off_checkpoint;
    s.power_off_checkpoint = up;
    return run;
}

// No time is better than half a time: a partial one would be credited as decades. A read that failed may
// succeed next time, so the file stays; a file that is too short never will, so it is made whole.
float restart_from_damaged_file(std::int32_t bytes_read, std::int64_t now) {
    if (bytes_read != RESULT_READ_FAILED && now != 0) {
        save_datetime(now);
        advance_checkpoint();
    }
    return INVALID_HOURS;
}

}  // namespace

void wall_clock_init() {
    s = {};
    s.start_time = os::boot_time_s();
}

std::uint64_t elapsed_since_start_s() {
    return static_cast<std::uint64_t>(arith::sub(os::boot_time_s(), s.start_time));
}

//   saved            saved + run              now
//     |---- run ------>|------ power off ----->|
float vorn_calc_power_off_time() {
    const std::int64_t now = plausible_wall_time_s();
    std::int64_t saved = 0;
    const std::int32_t bytes_read = import_persistent_file(LAST_DATETIME_FILE.path, &saved, sizeof saved);
    if (bytes_read == RESULT_UNREADABLE) {
        LOG_ERROR("No saved datetime ---\n");
        if (now != 0) save_datetime(now);
        return 0.0F;
    }
    if (bytes_read != std::int32_t{sizeof saved}) return restart_from_damaged_file(bytes_read, now);

    const auto run = static_cast<std::int64_t>(advance_checkpoint());
    saved = arith::add(saved, run);
    double unseen_s = std::difftime(now, saved);
    if (-SAME_TIME_S <= unseen_s && unseen_s <= SAME_TIME_S) unseen_s = 0.0;
    if (unseen_s < 0.0) {
        LOG_ERROR("difftime %.2f fails sanity check, increment saved by %ld sec ---\n", unseen_s, run);
        save_datetime(saved);
        return INVALID_HOURS;
    }
    save_datetime(now);
    return static_cast<float>(unseen_s) / SECONDS_PER_HOUR;
}
