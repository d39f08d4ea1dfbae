// stress_trip: the permanent lowering of the charge voltage once the battery has lived hard enough.
//
// In    stress hours
// Out   permanent client 0 of the top-of-charge manager; a record (stress_trip_refused) and messages
// State none: the trip is the manager's step of that client, which survives restarts
#pragma once

#include <cstdint>

constexpr std::int32_t STRESS_TRIP_CLIENT = 0;  // permanent client id at the top-of-charge manager

constexpr std::uint32_t STRESS_TRIP_H = 12000;       // stress hours > this: derating step 2, 4350 mV
constexpr std::uint32_t LAST_STRESS_TRIP_H = 16450;  // stress hours > this: derating step 9, 4000 mV

struct stress_trip_level {
    std::uint32_t above_h;  // the step applies to stress hours > this
    std::uint8_t step;      // derating step, 50 mV each
};
// Highest first; at or below the last one the step is 0.
inline constexpr stress_trip_level STRESS_TRIP_LEVELS[] = {{LAST_STRESS_TRIP_H, 9}, {STRESS_TRIP_H, 2}};

// The step, 0, 2 or 9, that so many stress hours call for.
std::uint8_t stress_trip_step(std::uint32_t stress_hours);

// The step in force, 0 to 9; 0 when the manager does not know the client.
std::int32_t current_stress_trip();

// Requests the step for so many stress hours; `force` requests it even when it is in force already.
// RESULT_DONE set or nothing to do; RESULT_FAILED or RESULT_REFUSED from the manager; RESULT_REFUSED also when
// the step would go down, which it never does.
[[nodiscard]] std::int32_t set_sys_stress_trip(std::uint32_t stress_hours, bool force);
