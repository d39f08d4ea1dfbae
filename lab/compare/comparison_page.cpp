#include "lab/compare/comparison_page.h"

#include "lab/io/time_text.h"
#include "lab/io/work_folder.h"
#include "lab/recordings/from_files.h"
#include "lab/recordings/trace_course.h"
#include "lab/report/provenance.h"
#include "lab/report/recorder.h"

namespace lab {

namespace {

struct one_run {
    std::string events, series;
    run_result result;
};

one_run run(const other_build& build, const std::vector<std::string>& settings, const std::string& input,
            const std::string& folder) {
    one_run made{folder + "/" + build.name + ".jsonl", folder + "/" + build.name + ".csv", {}};
    std::vector<std::string> words{is_scenario(input) ? "simulate" : "replay",
                                   input,
                                   "--samples",
                                   "--events",
                                   made.events,
                                   "--series",
                                   made.series};
    for (const std::string& each : settings) words.insert(words.end(), {"--set", each});
    made.result = run_build(build, {words, "", folder});
    return made;
}

report::facts facts_of(const one_run& of, const std::string& title, const std::string& input) {
    report::facts facts{title, of.result.about.origin, true,
                        series_reader(input_file::open(of.series)).truth_names()};
    facts.source = input;
    facts.digest = digest_text(input);
    if (is_scenario(input)) {
        facts.seed = of.result.about.seed;
    } else {
        facts.made_up_clock_s = DEFAULT_WALL_CLOCK_S;
    }
    return facts;
}

void tell(const one_run& of, const std::vector<listener*>& listeners) {
    tell_from_files(event_reader(input_file::open(of.events)), series_reader(input_file::open(of.series)),
                    boot_clocks(), listeners);
}

}  // namespace

void write_comparison_page(const comparison_plan& plan, const std::string& input, const std::string& path) {
    const work_folder folder;
    const one_run before = run(plan.before, plan.before_settings, input, folder.path());
    const one_run after = run(plan.after, plan.after_settings, input, folder.path());
    const local_zone zone(before.result.about.time_zone.empty() ? "UTC" : before.result.about.time_zone);
    report_recorder page(path, facts_of(before, before.result.about.title, input), {});
    std::vector<listener*> first, second;
    page.listen(first);
    tell(before, first);
    second_run other(facts_of(after, "The new build", input), {});
    other.listen(second);
    tell(after, second);
    report_recorder::ending how;
    how.other = &other.finished();
    page.finish(how);
    page.file().finish();
    page.file().commit();
}

}  // namespace lab
