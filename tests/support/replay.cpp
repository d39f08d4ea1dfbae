#include "tests/support/replay.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "lab/recordings/trace_course.h"
#include "lab/session/device_files.h"

namespace test {

namespace {

std::string name_of_node(std::string_view path) {
    const auto* found = std::ranges::find(lab::DEVICE_NODES, path, &lab::device_file::path);
    return std::string(found->name);
}

}  // namespace

trace_rows::trace_rows()
    : now_{{"realtime_s", ""},
           {"mock_n_day_threshold_sec", ""},
           {"mock_batt_stress_offset", ""},
           {"batt_precharge_uboottimer", ""},
           {"batt_precharge_ubootflag", ""},
           {"faults", ""}},
      csv_("boot,elapsed_s") {
#define VORN_NODE(path, text) now_.emplace(name_of_node(path), text);
#include "tests/support/ordinary_device.def"
#undef VORN_NODE
    for (const auto& [column, value] : now_) csv_ += "," + column;
    csv_ += "\n";
}

trace_rows& trace_rows::rows(int count, std::int64_t period_s, const cells& changes) {
    for (const auto& [column, value] : changes) now_.at(column) = value;
    for (int i = 0; i < count; ++i) {
        elapsed_s_ = elapsed_s_ < 0 ? 0 : elapsed_s_ + period_s;
        csv_ += std::to_string(boot_) + "," + std::to_string(elapsed_s_);
        for (const auto& [column, value] : now_) csv_ += "," + value;
        csv_ += "\n";
    }
    return *this;
}

trace_rows& trace_rows::next_boot(const cells& changes) {
    ++boot_;
    elapsed_s_ = -1;
    return row(changes);
}

lab::device_image replay(const std::string& csv, const replay_options& options,
                         const std::vector<lab::listener*>& listeners) {
    ::setenv("TZ", options.time_zone.c_str(), 1);
    ::tzset();
    lab::trace_course course(lab::trace_reader(lab::input_file::from_text(csv, "trace.csv"),
                                               options.constants, [](const std::string&) {}));
    lab::device_image image = options.start;
    lab::run_session(course, image, listeners);
    return image;
}

}  // namespace test
