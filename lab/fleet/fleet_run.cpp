#include "lab/fleet/fleet_run.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <unistd.h>

#include "lab/compare/process_pool.h"
#include "lab/compare/run_json.h"
#include "lab/io/error.h"
#include "lab/io/output_file.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

// A sanitizer reserves more addresses than any limit would leave it.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool IS_SANITIZED = true;
#elif defined(__has_feature)
constexpr bool IS_SANITIZED = __has_feature(address_sanitizer);
#else
constexpr bool IS_SANITIZED = false;
#endif

// In the phone's own process: the clock ends it, and memory it cannot have fails.
void limit_this_process(double limit_s, std::uint64_t memory_mb) {
    std::signal(SIGALRM, SIG_DFL);
    ::alarm(static_cast<unsigned>(std::ceil(limit_s)));
    if (IS_SANITIZED || memory_mb == 0) return;
    const rlimit memory{memory_mb << 20, memory_mb << 20};
    (void)::setrlimit(RLIMIT_AS, &memory);
}

// How long a phone may take: ten times what the middle one took.
class time_limit {
  public:
    explicit time_limit(double fixed_s) : fixed_s_(fixed_s) {}
    void note(double host_s) { taken_s_.push_back(host_s); }
    double s() {
        constexpr double FIRST_S = 6 * 3600.0, LEAST_S = 60, TIMES = 10;
        constexpr std::size_t ENOUGH = 5;
        if (fixed_s_ > 0) return fixed_s_;
        if (taken_s_.size() < ENOUGH) return FIRST_S;
        const auto middle = taken_s_.begin() + static_cast<std::ptrdiff_t>(taken_s_.size() / 2);
        std::nth_element(taken_s_.begin(), middle, taken_s_.end());
        return std::max(LEAST_S, TIMES * *middle);
    }

  private:
    double fixed_s_;
    std::vector<double> taken_s_;
};

bool is_same(const phone_row& one, const phone_row& other) {
    return one.status == other.status && one.events_digest == other.events_digest &&
           one.cycles_digest == other.cycles_digest && one.figures == other.figures;
}

void keep_difference(const fleet_directory& fleet, const phone_row& one, const std::string& other) {
    fs::create_directories(fleet.path() + "/differs");
    const std::string name = fleet.path() + "/differs/" + std::to_string(one.number);
    const auto keep = [](const std::string& path, const std::string& text) {
        output_file file(path);
        file.write(text);
        file.finish();
        file.commit();
    };
    keep(name + ".toml", plan_phone(fleet.phones(), one.number).scenario_text);
    keep(name + ".first.json", nlohmann::json::from_cbor(packed(one)).dump(1) + "\n");
    keep(name + ".second.json", other);
}

// Digests of the same phone under another build, from what its `simulate --json` says.
std::string run_other_build(const fleet_directory& fleet, const std::string& program, std::uint64_t number) {
    const std::string file = fleet.path() + "/parts/also-" + std::to_string(number) + ".toml";
    {
        output_file text(file);
        text.write(plan_phone(fleet.phones(), number).scenario_text);
        text.finish();
        text.commit();
    }
    std::string said;
    // Arguments of the shell rather than words in a command, so that no name needs quoting.
    ::setenv("VORN_ALSO", program.c_str(), 1);
    ::setenv("VORN_ALSO_FILE", file.c_str(), 1);
    if (std::FILE* const pipe = ::popen("exec \"$VORN_ALSO\" simulate --json \"$VORN_ALSO_FILE\"", "r")) {
        char piece[65536];
        while (const std::size_t size = std::fread(piece, 1, sizeof piece, pipe)) said.append(piece, size);
        (void)::pclose(pipe);
    }
    fs::remove(file);
    return said;
}

bool agrees(const std::string& said, const phone_row& row) {
    const auto document = nlohmann::json::parse(said, nullptr, false);
    if (document.is_discarded() || !document.contains("runs") || document["runs"].empty()) return false;
    const auto& digests = document["runs"][0]["digests"];
    return digests["events"] == row.events_digest && digests["cycles"] == row.cycles_digest;
}

constexpr std::string_view DIFFERS = "differs: ";

// One phone with its proofs, in its own process.
std::string run_proved(const fleet_directory& fleet, const run_limits& limits, const phone_runner& run,
                       std::uint64_t number) {
    phone_row row = run(fleet.phones(), number);
    if (limits.prove > 0 && number % limits.prove == 0 && row.status == phone_status::ok) {
        const phone_row again = run(fleet.phones(), number);
        if (!is_same(row, again)) {
            keep_difference(fleet, row, nlohmann::json::from_cbor(packed(again)).dump(1) + "\n");
            throw std::runtime_error(std::string(DIFFERS) + "ended differently the second time");
        }
        row.is_proved = true;
    }
    const bool also = !limits.also.empty() && limits.also_every > 0 && number % limits.also_every == 0;
    if (also && row.status == phone_status::ok) {
        const std::string said = run_other_build(fleet, limits.also, number);
        if (!agrees(said, row)) {
            keep_difference(fleet, row, said);
            throw std::runtime_error(std::string(DIFFERS) + "ended differently under " + limits.also);
        }
    }
    return packed(row);
}

phone_row row_of_end(const fleet_directory& fleet, std::uint64_t number, const job_end& end) {
    if (end.is_good) return unpacked_row(end.output);
    phone_row row = row_of(fleet.phones(), plan_phone(fleet.phones(), number));
    const bool was_stopped = end.error.ends_with("signal " + std::to_string(SIGALRM));
    row.status = was_stopped ? phone_status::hung : phone_status::failed;
    row.error = was_stopped ? "took longer than its limit" : end.error;
    return row;
}

// On the disk, and under its name.
void keep_part(const fleet_directory& fleet, phone_range range) {
    const std::string work = fleet.work_file(range);
    sync_to_disk(work);
    fs::rename(work, fleet.part_file(range));
    sync_to_disk(fleet.path() + "/parts");
}

// What another process left, unless a cut of the power spoilt it.
std::unique_ptr<results> open_work(const fleet_directory& fleet, phone_range range) {
    const std::string file = fleet.work_file(range);
    const auto open = [&] {
        return std::make_unique<results>(file, fleet.phones(), fleet.identity(), range);
    };
    try {
        auto begun = open();
        if (begun->identity() == fleet.identity() && begun->about() == range) return begun;
    } catch (const input_error& trouble) {
        const bool is_in_use = std::string(trouble.what()).find("locked") != std::string::npos;
        if (is_in_use) throw input_error(file + ": another process runs this part");
    }
    fs::remove(file);
    fs::remove(file + "-journal");
    return open();
}

}  // namespace

run_progress run_missing(const fleet_directory& fleet, phone_range within, const run_limits& limits,
                         const progress_listener& progress, const phone_runner& run) {
    const std::vector<phone_range> ranges = fleet.missing(within);
    run_progress so_far;
    for (const phone_range& each : ranges) so_far.all += each.last - each.first + 1;
    time_limit limit(limits.limit_s);
    const double span_s = static_cast<double>(fleet.phones().span_s);
    for (const phone_range& range : ranges) {
        {
            const std::unique_ptr<results> part = open_work(fleet, range);
            const std::vector<std::uint64_t> done = part->numbers();
            so_far.all -= done.size();
            std::vector<std::uint64_t> todo;
            for (std::uint64_t i = range.first; i <= range.last; ++i) {
                if (!std::ranges::binary_search(done, i)) todo.push_back(i);
            }
            run_jobs(
                todo.size(), limits.at_once,
                [&](std::size_t i) {
                    limit_this_process(limit.s(), limits.memory_mb);
                    return run_proved(fleet, limits, run, todo[i]);
                },
                [&](std::size_t i, const job_end& end) {
                    if (end.error.starts_with(DIFFERS))
                        throw program_fault("phone " + std::to_string(todo[i]) + " " +
                                            end.error.substr(DIFFERS.size()) + "; both are in " +
                                            fleet.path() + "/differs");
                    const phone_row row = row_of_end(fleet, todo[i], end);
                    part->add(row);
                    if (row.status == phone_status::ok) limit.note(row.host_s);
                    so_far.done += 1;
                    so_far.not_ok += row.status == phone_status::ok ? 0 : 1;
                    so_far.host_s += row.host_s;
                    so_far.phone_s += span_s;
                    progress(so_far);
                });
            part->complete();
        }
        keep_part(fleet, range);
    }
    return so_far;
}

}  // namespace lab
