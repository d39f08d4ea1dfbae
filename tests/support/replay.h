// Replays a trace within a test: the whole daemon, each boot in a child process.
//
//     test::trace_rows rows;
//     rows.row({{"status", "Charging"}}).rows(360, 10, {{"voltage_now", "4100000"}});
//     test::transcript heard(test::transcript::records::named);
//     const lab::device_image after = test::replay(rows.csv(), {}, {&heard});
//
// Several replays in one test do not disturb each other.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lab/session/session.h"

namespace test {

// A trace in the making. Each row repeats the one before, but for what is said; before the first, the phone
// reads well: 4.0 V, 25 °C, 50 %, -300 mA, Discharging, an ATL cell.
class trace_rows {
  public:
    using cells = std::map<std::string, std::string>;

    trace_rows();

    // Adds a row, at elapsed 0 when it is the first and else 10 s after the one before. Changed cells stay.
    trace_rows& row(const cells& changes = {}) { return rows(1, 10, changes); }
    // Adds `count` rows, `period_s` apart; the changes hold from the first of them on.
    trace_rows& rows(int count, std::int64_t period_s, const cells& changes = {});
    // Adds the first row of another boot, at elapsed 0.
    trace_rows& next_boot(const cells& changes = {});

    const std::string& csv() const { return csv_; }

  private:
    cells now_;
    std::int64_t elapsed_s_ = -1;  // of the last row; -1: none yet in this boot
    int boot_ = 1;
    std::string csv_;
};

struct replay_options {
    lab::device_image start;                                    // files and properties before the first boot
    std::string time_zone = "UTC";                              // TZ
    std::map<std::string, std::string, std::less<>> constants;  // as --set gives them
};

// Throws what lab::run_session throws. The listeners hear it; what the device keeps is given back.
lab::device_image replay(const std::string& csv, const replay_options& options,
                         const std::vector<lab::listener*>& listeners);

}  // namespace test
