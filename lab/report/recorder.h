// recorder: what a command needs to write a report of the run that it makes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lab/io/output_file.h"
#include "lab/report/page.h"
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

    using ending = run_ending;
    // The run is over: makes the page. To be called once.
    void finish(const ending& how);
    void finish() { finish(ending{}); }
    // Whoever has all files of a run commits them.
    output_file& file() { return file_; }

  private:
    output_file file_;
    report page_;
    cost counted_;
    story told_;
};

// A second run for the page of another one (run_ending::other): heard like the first, drawn more coarsely so that
// the page stays small.
class second_run {
  public:
    static constexpr std::size_t BUCKETS = 2048;

    // `before` and what `about` says are as for the first; the title names this one.
    second_run(report::facts about, const device_image& before, std::size_t buckets = BUCKETS);

    void listen(std::vector<listener*>& listeners);
    // To be called once, when the run is over.
    const report& finished();

  private:
    report page_;
    story told_;
};

}  // namespace lab
