#include "core/reboot.h"

#include <cerrno>
#include <ctime>

#include "charge_mgr/charge_mgr.h"
#include "core/sys_properties.h"
#include "platform/os.h"
#include "util/arith.h"
#include "util/log.h"
#include "util/sensor_value.h"

namespace {

constexpr std::uint64_t NO_REBOOT_S = INVALID_VALUE;
constexpr int REBOOT_HOUR = 2;
constexpr std::uint64_t SECONDS_PER_DAY = 86400;

struct {
    std::uint64_t reboot_time;       // elapsed seconds; NO_REBOOT_S while none is scheduled
    std::int32_t start_stress_prop;  // mV, the permanent client's voltage at start-up
} s;

// Seconds from `local` to 02:00 of the same day, negative when that has passed. The copy keeps the
// daylight-saving flag, so on a day of change 02:00 is the one of the clock in force now.
std::int64_t seconds_to_reboot_hour(std::tm local) {
    std::tm at_reboot = local;
    at_reboot.tm_hour = REBOOT_HOUR;
    at_reboot.tm_min = 0;
    at_reboot.tm_sec = 0;
    const std::time_t then = std::mktime(&at_reboot);
    const std::time_t now = std::mktime(&local);
    return arith::to_integer<std::int64_t>(std::difftime(then, now));
}

}  // namespace

void reboot_init() {
    s = {};
    s.reboot_time = NO_REBOOT_S;
    const std::int32_t voltage_mv = read_number_property(STRESS_PROPERTY);
    s.start_stress_prop = voltage_mv == 0 ? FULL_TOC_MV : voltage_mv;  // 0: unset
}

void handle_reboot(std::uint64_t elapsed_s) {
    if (s.reboot_time == NO_REBOOT_S && read_number_property(STRESS_PROPERTY) != s.start_stress_prop) {
        schedule_reboot(elapsed_s);
    }
    if (s.reboot_time != NO_REBOOT_S && s.reboot_time <= elapsed_s) {
        LOG_ERROR("Performing reboot!\n");
        reboot();
    }
}

void schedule_reboot(std::uint64_t elapsed_s) {
    std::tm local = {};
    if (!os::local_time(os::real_time_s(), local)) {
        LOG_ERROR("Failed local time to schedule reboot, rebooting now! errno=%d\n", errno);
        s.reboot_time = elapsed_s;
        return;
    }
    const std::int64_t wait_s = seconds_to_reboot_hour(local);
    s.reboot_time = arith::add(elapsed_s, static_cast<std::uint64_t>(wait_s));
    if (wait_s < 0) s.reboot_time = arith::add(s.reboot_time, SECONDS_PER_DAY);
    LOG_INFO("Scheduled reboot at %lu sec, now=%lu\n", s.reboot_time, elapsed_s);
}

void reboot() {
    (void)set_text_property(POWER_PROPERTY, "reboot");  // the next cycle tries again
}
