// What happened in a run, as lines of text.
//
//     1:30 log 6 --- vorn strtol error errno 34---|         (boot and elapsed seconds; | is the line feed)
//     1:30 record lx6wwu6k:acnd/2/03330401 v_mv=4180;IN,... (without the device's fields and the region)
//     1:30 set persist.vendor.vorn.toc=4450                 (" failed" behind it when it did)
//     1:30 write /mnt/vendor/nvcfg/vorn/toc_clients 02      (hex, - for nothing; " failed" likewise)
//     1:30 | soc_ui=51 ocv=41272                            (a cycle, and what changed since the boot's last one)
#pragma once

#include <string>
#include <vector>

#include "lab/session/session.h"

namespace test {

class transcript : public lab::listener {
  public:
    // Records by their names, as test::short_record gives them, or by their schema ids and whole.
    enum class records { named, whole };
    explicit transcript(records form) : form_(form) {}

    struct line {
        std::size_t row = 0;  // of the trace, from 0: a boot's start belongs to the boot's first row
        std::string text;
    };

    void on_event(const lab::event& what) override;
    void on_cycle(const lab::cycle& after) override;

    const std::vector<line>& lines() const { return lines_; }
    std::vector<std::string> texts() const;

  private:
    records form_;
    std::vector<line> lines_;
    std::size_t cycles_ = 0;
    lab::cycle previous_;
};

// A device's files and properties, a line each:
//
//     file /mnt/vendor/nvcfg/vorn/toc_clients 02
//     property persist.vendor.vorn.toc=4450
std::vector<std::string> lines_of(const lab::device_image& image);
// Adds what such a line says. False when it says nothing of the kind.
bool take_line(const std::string& line, lab::device_image& image);

// Fails with the first line that differs, by `file` and the number of its first line there, from 1.
void expect_same_lines(const std::vector<std::string>& found, const std::vector<std::string>& expected,
                       const std::string& file, std::size_t first_line);

}  // namespace test
