#include "lab/compare/compare_input.h"

#include <filesystem>

#include "lab/compare/quantities.h"
#include "lab/compare/recordings_difference.h"
#include "lab/io/error.h"

namespace lab {

namespace {

class input_runs {
  public:
    input_runs(const comparison_plan& plan, const std::string& folder, input_difference& into)
        : plan_(plan), folder_(folder), into_(into) {}

    void simulate_both() {
        const run_result before = simulate(plan_.before, plan_.before_settings, {});
        const run_result after = simulate(plan_.after, plan_.after_settings, {});
        into_.closed = compare_runs(before, after, plan_.is_exact);
        if (plan_.seeds == 0) return;
        for (const quantity& each : quantities()) {
            const auto was = each.of(before), is = each.of(after);
            if (was && is) into_.figures.push_back({std::string(each.key), *was, *is});
        }
    }

    // What OLD's sensors read, decided on by both.
    void replay_both_over_scenario() {
        const std::string trace = folder_ + "/trace.csv";
        const run_result made = simulate(plan_.before, plan_.before_settings, {"--trace", trace});
        std::vector<std::string> words{trace};
        if (std::filesystem::exists(trace + ".root")) words.insert(words.end(), {"--root", trace + ".root"});
        replay_both(words, made.about.time_zone);
    }

    void replay_both_over_trace() { replay_both({into_.input}, ""); }

  private:
    run_result run(const other_build& build, std::vector<std::string> words, const std::string& zone) {
        run_result result = run_build(build, {std::move(words), zone, folder_});
        // What came before a crash is compared, but it is no whole run.
        if (result.status == run_status::crashed && into_.error.empty())
            into_.error = build.name + ": " + result.error;
        return result;
    }

    run_result simulate(const other_build& build, const std::vector<std::string>& settings,
                        const std::vector<std::string>& more) {
        std::vector<std::string> words{"simulate", into_.input};
        for (const std::string& each : settings) words.insert(words.end(), {"--set", each});
        if (into_.seed != 0) words.insert(words.end(), {"--set", "seed=" + std::to_string(into_.seed)});
        words.insert(words.end(), more.begin(), more.end());
        return run(build, std::move(words), "");
    }

    void replay_both(const std::vector<std::string>& words, const std::string& zone) {
        const recorded_run old_files{folder_ + "/old.jsonl", folder_ + "/old.csv"};
        const recorded_run new_files{folder_ + "/new.jsonl", folder_ + "/new.csv"};
        const run_result before = replay(plan_.before, plan_.before_settings, words, old_files, zone);
        const run_result after = replay(plan_.after, plan_.after_settings, words, new_files, zone);
        into_.open = compare_runs(before, after, plan_.is_exact);
        if (!into_.open.is_same) compare_recorded(old_files, new_files, into_.open);
    }

    run_result replay(const other_build& build, const std::vector<std::string>& settings,
                      const std::vector<std::string>& of, const recorded_run& files,
                      const std::string& zone) {
        std::vector<std::string> words{"replay"};
        words.insert(words.end(), of.begin(), of.end());
        words.insert(words.end(), {"--events", files.events, "--series", files.series});
        if (!into_.is_scenario)
            for (const std::string& each : settings) words.insert(words.end(), {"--set", each});
        return run(build, std::move(words), zone);
    }

    const comparison_plan& plan_;
    const std::string& folder_;
    input_difference& into_;
};

}  // namespace

bool is_scenario(const std::string& input) {
    return std::filesystem::path(input).extension() == ".toml";
}

input_difference compare_input(const comparison_plan& plan, const std::string& input, std::uint64_t seed,
                               const std::string& folder) {
    input_difference found;
    found.input = input;
    found.is_scenario = is_scenario(input);
    found.seed = seed;
    try {
        std::filesystem::create_directories(folder);
        input_runs runs(plan, folder, found);
        if (!found.is_scenario) {
            runs.replay_both_over_trace();
        } else {
            if (!plan.only_traces) runs.simulate_both();
            // Two simulations that are the same in every byte have read the same, too.
            const bool is_told = found.closed.has_run && found.closed.is_same && plan.has_same_lab();
            if (!is_told && !(plan.has_same_daemon() && plan.has_same_lab()))
                runs.replay_both_over_scenario();
        }
    } catch (const input_error& refused) {
        found.error = refused.what();
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return found;
}

}  // namespace lab
