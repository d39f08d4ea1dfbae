#include "road.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace fault {

namespace {

constexpr std::int64_t START_S = 1772366400;  // 2026-03-01T12:00:00Z
constexpr std::int64_t HOUR_S = 3600;
constexpr std::int64_t DAY_S = 86400;
constexpr std::int64_t CYCLE_S = 10;

const std::string DATA = std::string(virtual_device::DATA_DIR);

template <typename T>
std::string bytes_of(const T& value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

// Writes down a boot stop by stop. A stop is like the one before it but for what is said.
class pen {
  public:
    explicit pen(std::int64_t real_time_s, stop first) : at_(first), start_s_(real_time_s) {}

    pen& status(const char* text) { return at_.status = text, *this; }
    pen& volts(std::int32_t mv) { return at_.voltage_mv = mv, *this; }
    pen& amps(std::int32_t ma) { return at_.current_ma = ma, *this; }
    pen& degrees(std::int32_t decic) { return at_.temperature_decic = decic, *this; }
    pen& capacity(std::int32_t pct) { return at_.capacity_pct = pct, *this; }
    pen& mock(std::string text) { return at_.mock_threshold_s = std::move(text), *this; }

    // `count` cycles; between two of them the current goes to and fro, which is what the estimator learns from.
    pen& cycles(int count, std::int32_t swing_ma = 0) {
        for (int i = 0; i < count; ++i) {
            stop now = at_;
            const std::int32_t sign = i % 2 == 0 ? 1 : -1;
            now.current_ma += sign * swing_ma;
            now.voltage_mv += sign * swing_ma / 10;  // over 0.1 Ohm
            put(now);
            at_.elapsed_s += CYCLE_S;
        }
        return *this;
    }
    // Time passes, asleep.
    pen& sleep(std::int64_t seconds) { return at_.elapsed_s += seconds, *this; }
    // The wall clock is set.
    pen& clock(std::int64_t real_time_s) { return start_s_ = real_time_s - at_.elapsed_s, *this; }
    pen& calm() { return result_.first_calm_stop = result_.stops.size(), *this; }

    boot result() const { return result_; }

  private:
    void put(stop now) {
        now.real_time_s = start_s_ + now.elapsed_s;
        result_.stops.push_back(now);
    }

    boot result_;
    stop at_;
    std::int64_t start_s_;  // wall clock at elapsed 0
};

const stop AWAY = {0, 0, 3900, -300, 250, 60, "Discharging", ""};

boot charge_and_days_after() {
    pen write(START_S, AWAY);
    write.cycles(3).sleep(HOUR_S + 1).volts(3880).cycles(2);
    // A charge, its thermal stop and its release; a second one that ends while it is watched.
    write.status("Charging").volts(4000).amps(2000).cycles(3, 200).sleep(300).cycles(6, 200);
    write.degrees(320).cycles(7, 200).degrees(300).sleep(310).cycles(2).sleep(300).cycles(3);
    write.status("Not charging").amps(0).cycles(1).sleep(60);
    // Near the top: the landing as the current falls; armed, a dip, a fault.
    write.status("Full")
        .volts(4440)
        .capacity(99)
        .cycles(1)
        .status("Charging")
        .volts(4430)
        .amps(1500)
        .cycles(8);
    write.amps(1250).cycles(4).amps(1100).cycles(8);
    for (const std::int32_t mv : {4410, 4402, 4394, 4384, 4374}) write.volts(mv).cycles(1);
    write.status("Full").volts(4440).amps(0).capacity(100).cycles(3).volts(4200).cycles(2);
    write.status("Discharging").amps(-200).cycles(8, 100);
    // Two minutes of a charge that warms up slowly; a step in its current; the plug pulled and put back.
    write.status("Charging").volts(4100).amps(1500).cycles(12).degrees(310).cycles(2).amps(2800).cycles(2);
    write.status("Discharging").amps(-200).cycles(2).status("Charging").amps(1500).cycles(2);
    write.status("Discharging").amps(-200).cycles(7);
    // Days on the charger, the voltage pulled down early and a record a day; the charge timer expires.
    write.status("Charging").volts(4150).amps(500).capacity(70).mock("60").cycles(1).sleep(60).cycles(2);
    write.sleep(DAY_S).cycles(3).status("Not charging").cycles(1);
    write.status("Discharging").amps(-200).mock("0").cycles(7).sleep(HOUR_S).cycles(2);
    // Past 48 hours of running, and on to nearly empty.
    write.sleep(2 * DAY_S).cycles(2).volts(3500).capacity(5).cycles(2).sleep(180).volts(3450).cycles(2);
    return write.result();
}

boot trip_and_reboot() {
    pen write(START_S - DAY_S, AWAY);  // behind what the boot before saved
    write.cycles(2).clock(START_S + 10 * DAY_S).sleep(HOUR_S + 1).cycles(2).sleep(DAY_S).cycles(2);
    boot result = write.result();
    result.files = {{DATA + "mock_batt_stress_offset", "12001\n"}};
    return result;
}

boot precharge_fault_then_calm() {
    pen write(START_S + 20 * DAY_S, AWAY);
    write.cycles(2).status("Charging").amps(900).cycles(2).status("Discharging").amps(-300);
    write.calm().cycles(1).sleep(HOUR_S + 1).volts(3850).cycles(1).sleep(HOUR_S + 1).volts(3840).cycles(1);
    boot result = write.result();
    result.files = {{DATA + "mock_batt_stress_offset", "0\n"},
                    {DATA + "batt_precharge_ubootflag", "\1"},
                    {DATA + "batt_precharge_uboottimer", bytes_of(std::int32_t{60})}};
    return result;
}

boot calm_end() {
    pen write(START_S + 30 * DAY_S, AWAY);
    write.cycles(2).status("Charging").volts(4100).amps(900).mock("60").cycles(1).sleep(60).cycles(2);
    boot result = write.result();
    result.is_calm = true;
    result.files = {{DATA + "mock_batt_stress_offset", "12001\n"}};
    return result;
}

void put_number(virtual_device::device& device, const char* path, std::int64_t number) {
    device.at(path).put(std::to_string(number) + "\n");
}

}  // namespace

road whole_road() {
    return {charge_and_days_after(), trip_and_reboot(), precharge_fault_then_calm(), calm_end()};
}

void arrive(virtual_device::device& device, const stop& at, std::int64_t start_s) {
    constexpr std::int64_t uv_per_mv = 1000;
    device.elapsed_s = at.elapsed_s - start_s;
    device.real_time_s = at.real_time_s;
#define VORN_NODE(path, text) device.at(path).put(text "\n");
#include "tests/support/ordinary_device.def"
#undef VORN_NODE
    put_number(device, "/sys/class/power_supply/battery/voltage_now", at.voltage_mv * uv_per_mv);
    put_number(device, "/sys/class/power_supply/battery/current_now", at.current_ma * uv_per_mv);
    put_number(device, "/sys/class/power_supply/battery/temp", at.temperature_decic);
    put_number(device, "/sys/class/power_supply/battery/capacity", at.capacity_pct);
    put_number(device, "/sys/class/power_supply/battery/device/gm30_ui_soc", at.capacity_pct * 100);
    put_number(device, "/sys/class/thermal/thermal_zone6/temp", at.temperature_decic * 100);
    device.at("/sys/class/power_supply/battery/status").put(std::string(at.status) + "\n");
    if (!at.mock_threshold_s.empty()) {
        device.at(DATA + "mock_n_day_threshold_sec").put(at.mock_threshold_s + "\n");
    }
}

std::map<std::string, std::string> files_of_earlier_layout() {
    constexpr std::size_t stress_entries = 99;
    std::array<float, stress_entries> hours{};
    hours[49] = 120.0F;
    hours[60] = 80.5F;
    hours[0] = 50000.0F;  // more than a life, where it weighs least
    const std::array<std::int32_t, 5> parameters = {1, 9100, 10000, 2000, 740};
    return {{DATA + "batt_stress", bytes_of(hours)},
            {DATA + "last_datetime", bytes_of(START_S - 5 * HOUR_S)},
            {DATA + "charge_failures", bytes_of(std::int32_t{3})},
            {DATA + "dyn_soc_params", bytes_of(parameters)},
            {DATA + "toc_clients", std::string(1, '\0')},
            {DATA + "batt_precharge_timer", bytes_of(std::int32_t{300})},
            {DATA + "batt_precharge_uboottimer", bytes_of(std::int32_t{120})}};
}

}  // namespace fault
