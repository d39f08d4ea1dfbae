// The files that a run leaves: opened before it, kept all together after it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lab/io/distinct_files.h"
#include "lab/io/output_file.h"
#include "lab/recordings/events.h"
#include "lab/recordings/series.h"
#include "lab/report/recorder.h"
#include "lab/session/course.h"
#include "lab/session/listener.h"

namespace CLI {
class App;
}

namespace lab {

// What the user asks for; empty is not wanted, "-" standard output.
struct output_options {
    std::string events;
    std::string series;
    bool with_samples = false;
    std::string every;  // of the series, a duration; empty: all
    std::string trace;
    std::string report;
    std::string root;  // a directory, read before the run and never changed
    std::string save_root;

    bool has_any() const;
    bool is_on_standard_output() const;
};

// The options of every command that runs the daemon: --events, --series, --samples, --every, --report, --root,
// --save-root.
void add_output_options(CLI::App& command, output_options& into);

// What the device holds when a run with these options begins: what is in the root, if there is one.
device_image image_in_root(const output_options& options);

class outputs {
  public:
    // Opens every file, so that one that cannot be written is found out before the run. `input` is the run's own
    // file, which no output may be. `about` and `start` go into the report. Throws input_error.
    outputs(const output_options& options, const named_file& input, const report::facts& about,
            const device_image& start);
    outputs(const outputs&) = delete;
    outputs& operator=(const outputs&) = delete;

    // Adds what must hear the run.
    void listen(std::vector<listener*>& listeners);
    // Where the trace goes; null when none is wanted.
    output_file* trace() { return trace_ ? &*trace_ : nullptr; }

    // The run is over: keeps all, or nothing when one of them cannot be kept. `end` is what the device holds and goes
    // to --save-root; null after a crash, which leaves that as it was; `how` goes into the report. Throws input_error.
    void keep(const device_image* end, const report_recorder::ending& how);
    void keep(const device_image* end) { keep(end, report_recorder::ending{}); }

  private:
    std::vector<output_file*> files();

    const output_options& options_;
    const device_image& start_;
    std::optional<output_file> events_file_, series_file_, trace_;
    std::optional<event_writer> events_;
    std::optional<series_writer> series_;
    std::optional<report_recorder> page_;
};

}  // namespace lab
