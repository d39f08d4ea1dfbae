// Replays a trace within a test: the whole daemon, each boot in a child process.
//
//     test::trace_rows rows;
//     rows.row({{"status", "Charging"}}).rows(360, 10, {{"voltage_now", "4100000"}});
//     const test::replay_result result = test::replay(rows);
//     EXPECT_THAT(result.story({"toc=", "charge_period"}), ElementsAre(...));
//
// Several replays in one test do not disturb each other.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "lab/session/cycle.h"
#include "lab/session/event.h"
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

struct replay_result {
    std::vector<lab::event> events;
    std::vector<lab::cycle> cycles;
    lab::device_image image;  // files and properties after the last boot

    // "boot:elapsed what" of each event with one of the parts in it, in order; an elapsed time alone in boot 1.
    // What: a log line, short_record(), "property=value" with "vorn." and what is before it left out, or a file's
    // name when it was written; " failed" behind it when it did.
    std::vector<std::string> story(const std::vector<std::string>& parts) const;
    // The cycle at that time; throws when there is none.
    const lab::cycle& at(std::int64_t elapsed_s) const;
};

// Throws what lab::run_session throws. The listeners hear it; what the device keeps is given back.
lab::device_image replay(const std::string& csv, const replay_options& options,
                         const std::vector<lab::listener*>& listeners);
replay_result replay(const std::string& csv, const replay_options& options = {});
inline replay_result replay(const trace_rows& rows, const replay_options& options = {}) {
    return replay(rows.csv(), options);
}

// What a scenario's text brings; its phone's true state is in the cycles.
replay_result simulate(const std::string& scenario);

}  // namespace test
