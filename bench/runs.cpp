#include "bench/runs.h"

#include "lab/io/output_file.h"
#include "lab/recordings/series.h"
#include "lab/recordings/trace_course.h"
#include "lab/report/recorder.h"
#include "lab/scenario/truth.h"
#include "lab/session/session.h"
#include "lab/simulation/simulation.h"

namespace bench {

namespace {

std::vector<std::string> truth_names() {
    return {lab::truth_column_names.begin(), lab::truth_column_names.end()};
}

}  // namespace

lab::scenario phone_in_use(std::int64_t days) {
    return lab::parse_scenario(
        "[[phase]]\nfor = \"" + std::to_string(days) +
            " d\"\nambient_c = 21\nload_mw = 350\nburst_mw = 2500\nburst_pct = 12\n"
            "daily = [\n"
            "    { at = \"06:45\", charger = \"none\" },\n"
            "    { at = \"22:30\", charger = \"wall\", load_mw = 120, burst_pct = 2 },\n"
            "]\n",
        "bench.toml");
}

void run_alone(const lab::scenario& phone) {
    lab::run_simulation(phone, {}, {});
}

void run_with_series(const lab::scenario& phone) {
    lab::output_file file("/dev/null");
    lab::series_writer series(file, false, truth_names());
    lab::run_simulation(phone, {}, {&series});
}

void run_with_report(const lab::scenario& phone, bool writes_page) {
    const lab::device_image start;
    lab::report_recorder recorder(
        "/dev/null", {phone.title, "simulation", true, truth_names(), phone.duration_s()}, start);
    std::vector<lab::listener*> listeners;
    recorder.listen(listeners);
    lab::run_simulation(phone, start, listeners);
    if (writes_page) recorder.finish({});
}

std::string trace_in_use(std::int64_t cycles) {
    std::string csv =
        "elapsed_s,realtime_s,voltage_now,temp,charge_counter,cycle_count,capacity,gm30_ui_soc,"
        "thermal_zone6_temp,vbus,current_now,status,cell_vendor_name\n";
    double soc = 0.5;
    bool is_charging = false;
    for (std::int64_t i = 0; i < cycles; ++i) {
        soc += is_charging ? 0.00035 : -0.00012;
        if (soc > 0.97 || soc < 0.12) is_charging = !is_charging;
        const std::int64_t wander = i * 7919 % 1009;
        const int percent = static_cast<int>(soc * 100);
        const auto number = [&csv](std::int64_t value) { csv += std::to_string(value) + ","; };
        number(i * 10);
        number(1767225600 + i * 10);
        number(3500000 + static_cast<int>(soc * 850000) + wander);
        number(250 + wander / 50);
        number(static_cast<int>(soc * 7500000));
        number(12);
        number(percent);
        number(percent);
        number(26000 + wander);
        number(is_charging ? 5000000 : 0);
        number(is_charging ? 2400000 + wander * 100 : -800000 - wander * 100);
        csv += is_charging ? "Charging,ATL\n" : "Discharging,ATL\n";
    }
    return csv;
}

void replay(const std::string& trace, const std::vector<lab::listener*>& listeners) {
    lab::trace_course course(
        lab::trace_reader(lab::input_file::from_text(trace, "generated"), {}, [](const std::string&) {}));
    lab::device_image image;
    lab::run_session(course, image, listeners);
}

}  // namespace bench
