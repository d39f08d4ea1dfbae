// What a scenario makes of the world around the daemon at a moment: the phase's conditions, changed by the
// events that are going on, and the faults of the device. Follows from the time alone, so a boot can begin
// anywhere; only what happens at the very moment of an event is done once, by cross().
#pragma once

#include <cstdint>

#include "lab/phone/phone.h"
#include "lab/scenario/scenario.h"
#include "lab/scenario/timeline.h"
#include "lab/simulation/person.h"
#include "lab/simulation/sensor_nodes.h"
#include "lab/simulation/weather.h"
#include "platform/virtual/device.h"

namespace lab {

// Why the daemon's process ends.
enum class ending : std::uint8_t { none, over, empty, power_cut, reboot, restart };

class circumstances {
  public:
    explicit circumstances(const scenario& plan)
        : scenario_(plan), timeline_(plan), weather_(plan), person_(plan) {}

    // Takes everything as it is at `now_s`, the device's faults included; a person, if there is one, is at `what`.
    void take(std::int64_t now_s, const doings& what, virtual_device::device& on);
    // Takes the air as it is at `now_s`.
    void follow_weather(std::int64_t now_s) {
        if (now_s >= weather_until_s_) take_weather(now_s);
    }
    // Does what happens exactly at `now_s`. The ending, if any, that an event brings about.
    ending cross(std::int64_t now_s, virtual_device::device& on) const;

    const conditions& now() const { return now_; }
    const class person& person() const { return person_; }
    const phone::surroundings& around() const { return around_; }
    // The same for a phone that is suspended.
    const phone::surroundings& around_asleep() const { return asleep_; }
    const node_overrides& overrides() const { return overrides_; }
    std::int64_t next_change_s() const { return next_change_s_; }

    // What the wall clock shows.
    std::int64_t real_time_s(std::int64_t now_s, std::int64_t since_boot_s) const {
        return is_clock_lost_ ? since_boot_s : scenario_.start_utc_s + now_s + clock_shift_s_;
    }
    // For how long the power is cut by what happens at `now_s`.
    std::int64_t power_cut_s(std::int64_t now_s) const;

  private:
    void take_event(const scenario_event& event);
    void take_weather(std::int64_t now_s);

    const scenario& scenario_;
    timeline timeline_;
    weather weather_;
    class person person_;
    conditions now_;
    phone::surroundings around_, asleep_;
    std::int64_t weather_until_s_ = 0;
    node_overrides overrides_{};
    std::int64_t next_change_s_ = 0;
    std::int64_t clock_shift_s_ = 0;
    bool is_clock_lost_ = false;
};

}  // namespace lab
