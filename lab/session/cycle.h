// What is known after one cycle of the daemon: its own state, the sample it saw, the phone's true state.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace lab {

// The daemon's state, in the order and under the names of the series columns after boot and elapsed_s.
// Every column is a signed 32-bit number; a flag is 0 or 1.
enum class column : std::uint8_t {
    toc_mv,
    perm_step,
    temp_step,
    charge_timer_flag,
    thermal_flag,
    precharge_flag,
    dyn_soc_state,
    dcr,
    qmax,
    ocv,
    ocv_avg,
    soc_v,
    soc_c,
    soc_raw,
    soc_scal,
    soc_act,
    soc_smooth,
    soc_ui,
    landing_state,
    smoothing_active,
    i_avg_ma,
    i_targ_ma,
    soc_off,
};
constexpr std::size_t COLUMN_COUNT = 23;
extern const std::array<std::string_view, COLUMN_COUNT> column_names;

// cycle::stress_h as a column of the series, where it follows those.
inline constexpr std::string_view STRESS_COLUMN = "stress_h";

// The nodes as the daemon could read them in this cycle; empty where a node is missing or holds no number.
struct sample {
    std::optional<std::int32_t> voltage_uv;
    std::optional<std::int32_t> current_ua;
    std::optional<std::int32_t> temperature_decic;
    std::optional<std::int32_t> capacity_pct;
    std::int32_t status = 0;  // 0 Unknown, 1 Charging, 2 Discharging, 3 Not charging, 4 Full
};

struct cycle {
    std::int64_t boot = 1;
    std::int64_t elapsed_s = 0;
    std::int64_t real_time_s = 0;
    std::array<std::int32_t, COLUMN_COUNT> daemon{};
    sample seen;
    double stress_h = 0;        // of the daemon's histogram as it stands in memory, without a test's offset
    std::vector<double> truth;  // the simulated phone's own columns (course::truth_names), empty in a replay

    std::int32_t operator[](column which) const { return daemon[static_cast<std::size_t>(which)]; }
};

// The daemon's state as it stands now in this process.
std::array<std::int32_t, COLUMN_COUNT> read_daemon_columns();

}  // namespace lab
