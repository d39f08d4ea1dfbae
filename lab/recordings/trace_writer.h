// Writes what any course does to the device as a trace (docs/formats.md), which replays to the same events.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "lab/io/output_file.h"
#include "lab/recordings/trace.h"
#include "lab/session/course.h"

namespace lab {

// Stands between a session and a course. The rows are written in the boots' own processes, each before the
// daemon sees it; whoever owns the file commits it.
class trace_writer : public course {
  public:
    trace_writer(course& recorded, output_file& file) : course_(recorded), file_(file) {}

    std::int64_t begin_boot(virtual_device::device& device) override;
    bool next_cycle(virtual_device::device& device) override;
    bool has_more_boots() override { return course_.has_more_boots(); }
    std::vector<std::string> truth_names() const override { return course_.truth_names(); }
    void truth(const charge_limits& of, std::vector<double>& values) const override {
        course_.truth(of, values);
    }
    std::string save() const override;
    void load(const std::string& state) override;
    double progress() const override { return course_.progress(); }
    std::string source_name() const override { return course_.source_name(); }
    std::int64_t source_line() const override { return course_.source_line(); }

  private:
    struct file_content {
        bool exists = false;
        std::string bytes;
    };

    void write_header();
    void remember_files(virtual_device::device& device);
    void append_row(virtual_device::device& device);
    void append_node(const virtual_device::file& node);
    void append_change(const virtual_device::file& now, std::size_t index);
    void append_faults(const virtual_device::device& device);

    course& course_;
    output_file& file_;
    bool has_header_ = false;
    std::int64_t boot_ = 0;
    bool is_first_ = false;
    std::string row_;
    // As the daemon left them.
    std::array<file_content, MOCK_FILES.size() + BOOT_LOADER_FILES.size()> before_;
};

}  // namespace lab
