// What the state files hold of a battery's life, and what of it a mishap has cost.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace fault {

struct holdings {
    double stress_h = 0;  // hours in the stress table
    int step = 0;         // permanent derating step
    int charge_failures = 0;
    int precharges = 0;
    int precharge_s = 0;
};

// On the virtual device of this process. What a file does not hold whole counts as 0.
holdings held_now();

struct loss {
    const char* what;  // "stress hours", "steps", ...
    double amount;
};
// What `held` lacks of `due`, but for the hours that were not written yet.
std::vector<loss> losses(const holdings& due, const holdings& held);

// What the daemon's rules let go when something fails, by name: losses that are fixed, whoever they hurt.
struct known_cost {
    std::string_view what;
    std::string_view target;  // end of the path, or the clock
    std::string_view why;
    bool is_by_cut = false;  // only when the power goes there
};
inline constexpr std::array KNOWN_COSTS{
    known_cost{"stress hours", "/batt_stress",
               "not read whole at a start, the rest is counted from 0 and overwritten"},
    known_cost{"stress hours", "/last_datetime", "no time off without it"},
    known_cost{"stress hours", "time", "no time off without the clock"},
    known_cost{"stress hours", "/voltage_now", "no bucket without the voltage"},
    known_cost{"stress hours", "/battery/temp", "no bucket without the temperature"},
    known_cost{"charge failures", "/charge_failures", "not read, it is counted from 1"},
    known_cost{"charge failures", "/status", "no charge to be timed"},
    known_cost{"charge failures", "/capacity", "the charge timer waits for it"},
    known_cost{"charge failures", "", "after a power cut a charge is timed anew", true},
    known_cost{"precharges", "/batt_precharge_counter", "not read, it is counted from 0"},
    known_cost{"precharges", "/batt_precharge_timer", "the counter is not written after it"},
    known_cost{"precharges", "/batt_precharge_uboottimer", "the only witness"},
    known_cost{"precharge seconds", "/batt_precharge_timer", "not read, it is counted from 0"},
    known_cost{"precharge seconds", "/batt_precharge_uboottimer", "the only witness"},
};
// The one that says that a failure there costs that; KNOWN_COSTS.size() when none does.
std::size_t known_cost_of(std::string_view target, std::string_view what, bool is_cut);

}  // namespace fault
