// recorder: what a command needs to write a report of the run that it makes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lab/io/output_file.h"
#include "lab/report/report.h"
#include "lab/session/course.h"
#include "lab/session/listener.h"
#include "lab/story/story.h"
#include "lab/tally/cost.h"
#include "lab/tally/worth.h"

namespace lab {

// Opens the file at once, so that one that cannot be written is found out before the run. Throws input_error that
// names it.
class report_recorder {
  public:
    report_recorder(const std::string& path, report::facts about, const device_image& before);

    // Adds what must hear the run.
    void listen(std::vector<listener*>& listeners);

    // The run is over: makes the page. To be called once; `compared` when the run was made twice.
    void finish(const std::optional<comparison>& compared = {});
    // Whoever has all files of a run commits them.
    output_file& file() { return file_; }

  private:
    output_file file_;
    report page_;
    cost counted_;
    story told_;
};

}  // namespace lab
