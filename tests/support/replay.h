// Replays a trace within a test: the whole daemon, each boot in a child process.
//
//     test::trace_rows rows({"elapsed_s", "voltage_now", "temp", "status"});
//     rows.row({"0", "4000000", "250", "Charging"});
//     rows.rows(360, 10, {{"voltage_now", "4100000"}});        // an hour more, one cell changed
//     const test::replay_result result = test::replay(rows.csv());
//     EXPECT_THAT(result.logs(), Contains("..."));
//
// Several replays in one test do not disturb each other.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "lab/cycle.h"
#include "lab/event.h"
#include "lab/session.h"

namespace test {

// A trace in the making: each row repeats the one before, but for what is said.
class trace_rows {
  public:
    using cells = std::map<std::string, std::string>;

    // `columns` in their order; without "elapsed_s" among them it is put in front. All cells begin empty.
    explicit trace_rows(std::vector<std::string> columns);

    // A phone that reads well: every sensor column, 4.0 V, 25 °C, 50 %, -300 mA, Discharging, an ATL cell.
    static trace_rows healthy();

    // Adds a row, at elapsed 0 when it is the first and else 10 s after the one before. Changed cells stay.
    trace_rows& row(const cells& changes = {});
    // Adds `count` rows, `period_s` apart; the changes hold from the first of them on.
    trace_rows& rows(int count, std::int64_t period_s, const cells& changes = {});
    // Adds the first row of another boot (column "boot"), at elapsed 0.
    trace_rows& next_boot(const cells& changes = {});

    std::int64_t elapsed_s() const { return elapsed_s_; }  // of the last row
    std::string csv() const { return csv_; }

  private:
    std::size_t index_of(const std::string& column) const;
    void add();

    std::vector<std::string> columns_;
    std::vector<std::string> values_;
    std::int64_t elapsed_s_ = 0;
    bool has_rows_ = false;
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

    // Texts of the log lines and records that contain `part`, in order.
    std::vector<std::string> logs(std::string_view part = "") const;
    std::vector<std::string> records(
        std::string_view name = "") const;  // "name payload" of util/record_index.h
    // Values a property was set to, in order, failures left out.
    std::vector<std::string> values_of(std::string_view property) const;
    // The events of one kind for one tag, property or path.
    std::vector<lab::event> of(lab::event_kind kind, std::string_view name = "") const;
};

// Throws what lab::run_session throws.
replay_result replay(const std::string& csv, const replay_options& options = {});

}  // namespace test
