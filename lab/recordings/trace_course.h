// The course of a recorded trace: what each row says happens to the device.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/recordings/trace.h"
#include "lab/session/course.h"

namespace lab {

constexpr std::int64_t DEFAULT_WALL_CLOCK_S = 1767225600;  // 2026-01-01T00:00:00Z, where a trace has none

class trace_course : public course {
  public:
    // Reads the first row.
    explicit trace_course(trace_reader reader);
    trace_course(const trace_course&) = delete;
    trace_course& operator=(const trace_course&) = delete;

    // Whether the trace has no row, and so no boot either.
    bool is_empty() const { return !has_row_ && !is_started_; }

    bool has_wall_clock() const { return reader_.has_wall_clock(); }
    // Of the row in effect, or of the next boot's first; empty when the node is missing.
    std::string cell_vendor() const;

    // Throws input_error when the trace is empty.
    std::int64_t begin_boot(virtual_device::device& device) override;
    bool next_cycle(virtual_device::device& device) override;
    bool has_more_boots() override { return has_row_; }

    // A trace that knows better than the gauge has one column of truth.
    std::vector<std::string> truth_names() const override;
    void truth(const charge_limits& of, std::vector<double>& values) const override;

    std::string save() const override;
    void load(const std::string& state) override;

    double progress() const override;
    std::string source_name() const override { return reader_.file().name(); }
    std::int64_t source_line() const override { return row_.position.line; }

  private:
    void take_row(virtual_device::device& device, bool is_first_of_boot);
    void set_nodes(virtual_device::device& device);
    void set_mock_files(virtual_device::device& device);
    void set_faults(virtual_device::device& device);
    void fail_file(virtual_device::device& device, virtual_device::file& target,
                   bool virtual_device::file::*operation);

    trace_reader reader_;
    trace_row row_;                 // in effect, or the next boot's first
    bool has_row_ = false;          // false when the trace has ended
    bool is_started_ = false;       // some row has been in effect
    std::int64_t real_time_s_ = 0;  // of the row last in effect
    std::int64_t elapsed_s_ = 0;    // of the row last in effect
    std::int64_t boot_ = 0;

    // In this process only.
    bool is_first_cycle_ = false;  // the row in effect was set by begin_boot
    bool has_faults_ = false;      // some file or property is set to fail
    std::vector<virtual_device::file*> nodes_;
    std::vector<virtual_device::file*> mock_files_;
};

}  // namespace lab
