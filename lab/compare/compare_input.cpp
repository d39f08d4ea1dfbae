#include "lab/compare/compare_input.h"

#include <cstdlib>
#include <filesystem>
#include <optional>

#include "lab/compare/kept_runs.h"
#include "lab/compare/quantities.h"
#include "lab/compare/recordings_difference.h"
#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/scenario/scenario.h"

namespace lab {

namespace {

constexpr const char* SKIPPED = "both builds' results are kept, and they are the same";

class input_runs {
  public:
    input_runs(const comparison_plan& plan, const std::string& folder, input_difference& into)
        : plan_(plan), folder_(folder), into_(into), kept_(plan.keep) {}

    void simulate_both() {
        const run_result before = simulate(plan_.before, plan_.before_settings);
        const run_result after = simulate(plan_.after, plan_.after_settings);
        into_.closed = compare_runs(before, after, plan_.is_exact);
        if (plan_.seeds == 0) return;
        for (const quantity& each : quantities()) {
            const auto was = each.of(before), is = each.of(after);
            if (was && is) into_.figures.push_back({std::string(each.key), *was, *is});
        }
    }

    // What OLD's sensors read, decided on by both.
    void replay_both_over_scenario() {
        const auto made = name_of_simulation(plan_.before, plan_.before_settings);
        const std::string what = made ? "what it read: " + made->hex() : "";
        if (is_known_replay(what)) return;
        const std::string trace = folder_ + "/trace.csv";
        const run_result simulated =
            run(plan_.before, words_of_simulation(plan_.before_settings, {"--trace", trace}), "");
        std::vector<std::string> words{trace};
        if (std::filesystem::exists(trace + ".root")) words.insert(words.end(), {"--root", trace + ".root"});
        replay_both(what, words, simulated.about.time_zone);
    }

    void replay_both_over_trace() {
        const char* const zone = std::getenv("TZ");
        std::string what;
        if (kept_.is_on()) what = read_file(into_.input) + "TZ=" + (zone == nullptr ? "" : zone);
        if (!is_known_replay(what)) replay_both(what, {into_.input}, "");
    }

    bool has_run_nothing() const { return runs_ == 0; }

  private:
    run_result run(const other_build& build, std::vector<std::string> words, const std::string& zone) {
        runs_ += 1;
        run_result result = run_build(build, {std::move(words), zone, folder_});
        // What came before a crash is compared, but it is no whole run.
        if (result.status == run_status::crashed && into_.error.empty())
            into_.error = build.name + ": " + result.error;
        return result;
    }

    // Not of a crash: the next one may come through.
    void keep(const std::optional<digest>& name, const run_result& result) {
        if (name && result.status != run_status::crashed) kept_.keep(*name, result);
    }

    std::vector<std::string> settings_of_simulation(std::vector<std::string> settings) const {
        if (into_.seed != 0) settings.push_back("seed=" + std::to_string(into_.seed));
        return settings;
    }

    std::vector<std::string> words_of_simulation(const std::vector<std::string>& settings,
                                                 const std::vector<std::string>& more) const {
        std::vector<std::string> words{"simulate", into_.input};
        for (const std::string& each : settings_of_simulation(settings))
            words.insert(words.end(), {"--set", each});
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    // Nothing when none is kept, or when this build cannot read the scenario and so not tell on which files it depends.
    std::optional<digest> name_of_simulation(const other_build& build,
                                             const std::vector<std::string>& settings) const {
        if (!kept_.is_on()) return std::nullopt;
        try {
            const std::string text = read_file(into_.input);
            const std::vector<std::string> all = settings_of_simulation(settings);
            digest name = run_digest(build.identity);
            add_scenario(name, text, parse_scenario(text, into_.input, all), all);
            return name;
        } catch (const input_error&) {
            return std::nullopt;
        }
    }

    run_result simulate(const other_build& build, const std::vector<std::string>& settings) {
        const auto name = name_of_simulation(build, settings);
        auto known = name ? kept_.find(*name) : std::nullopt;
        if (known) return std::move(*known);
        run_result result = run(build, words_of_simulation(settings, {}), "");
        keep(name, result);
        return result;
    }

    // `what` says which sensors and what time zone; empty when nothing is kept.
    std::optional<digest> name_of_replay(const other_build& build, const std::vector<std::string>& settings,
                                         const std::string& what) const {
        if (!kept_.is_on() || what.empty()) return std::nullopt;
        digest name = run_digest(build.identity);
        name.add(what);
        for (const std::string& each : settings) name.add(each);
        return name;
    }

    // Whether both are kept and the same. Where they differ the events are needed, and those are not kept.
    bool is_known_replay(const std::string& what) {
        const auto before = name_of_replay(plan_.before, plan_.before_settings, what);
        const auto after = name_of_replay(plan_.after, plan_.after_settings, what);
        if (!before || !after) return false;
        const auto was = kept_.find(*before), is = kept_.find(*after);
        if (!was || !is) return false;
        loop_difference found = compare_runs(*was, *is, plan_.is_exact);
        if (found.is_same) into_.open = std::move(found);
        return into_.open.has_run;
    }

    void replay_both(const std::string& what, const std::vector<std::string>& words,
                     const std::string& zone) {
        const recorded_run old_files{folder_ + "/old.jsonl", folder_ + "/old.csv"};
        const recorded_run new_files{folder_ + "/new.jsonl", folder_ + "/new.csv"};
        const run_result before = replay(plan_.before, plan_.before_settings, words, old_files, zone);
        const run_result after = replay(plan_.after, plan_.after_settings, words, new_files, zone);
        keep(name_of_replay(plan_.before, plan_.before_settings, what), before);
        keep(name_of_replay(plan_.after, plan_.after_settings, what), after);
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
    kept_runs kept_;
    std::size_t runs_ = 0;
};

// In every byte and every figure.
bool is_same(const loop_difference& loop) {
    return loop.is_same && loop.decisions.empty() && loop.quantities.empty();
}

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
        const bool is_settled = runs.has_run_nothing() && is_same(found.open) && is_same(found.closed);
        if (plan.changed_only && is_settled) found.skipped = SKIPPED;
    } catch (const input_error& refused) {
        found.error = refused.what();
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return found;
}

}  // namespace lab
