#include "lab/fleet/fleet_run.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <memory>
#include <new>
#include <sys/resource.h>
#include <unistd.h>

#include "lab/compare/process_pool.h"
#include "lab/io/error.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

// A sanitizer reserves more memory than any limit would leave it.
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
    rlimit memory{};
    (void)::getrlimit(RLIMIT_DATA, &memory);
    memory.rlim_cur = memory.rlim_max;
    if (!IS_SANITIZED && memory_mb > 0) memory.rlim_cur = std::min<rlim_t>(memory.rlim_max, memory_mb << 20);
    (void)::setrlimit(RLIMIT_DATA, &memory);
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

constexpr std::string_view DIFFERS = "differs: ";

// One phone with its proofs, in its own process.
std::string run_proved(const fleet_directory& fleet, const run_limits& limits, double limit_s,
                       const phone_runner& run, std::uint64_t number) {
    limit_this_process(limit_s, limits.memory_mb);
    const proof_wishes& proof = limits.proof;
    phone_row row = run(fleet.phones(), number);
    const auto is_due = [&](std::uint64_t every) {
        return every > 0 && number % every == 0 && row.status == phone_status::ok;
    };
    try {
        if (is_due(proof.twice_every)) prove_twice(fleet, run, row);
        if (proof.also && is_due(proof.also_every)) {
            constexpr double SLOWER = 100;  // than this build, with sanitizers and without optimisation
            limit_this_process(SLOWER * limit_s, 0);
            prove_by(fleet, *proof.also, row);
        }
    } catch (const phone_differs& differs) {
        throw std::runtime_error(std::string(DIFFERS) + differs.what());
    }
    return packed(row);
}

phone_row row_of_end(const fleet_directory& fleet, std::uint64_t number, const job_end& end) {
    if (end.is_good) return unpacked_row(end.output);
    phone_row row = row_of(fleet.phones(), plan_phone(fleet.phones(), number));
    const bool was_stopped = end.error.ends_with("signal " + std::to_string(SIGALRM));
    const bool was_too_large = end.error == std::bad_alloc().what();
    row.status = was_stopped ? phone_status::hung : phone_status::failed;
    row.error = was_stopped ? "took longer than its limit" : was_too_large ? "out of memory" : end.error;
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
                [&](std::size_t i) { return run_proved(fleet, limits, limit.s(), run, todo[i]); },
                [&](std::size_t i, const job_end& end) {
                    if (end.error.starts_with(DIFFERS))
                        throw program_fault("phone " + std::to_string(todo[i]) + " " +
                                            end.error.substr(DIFFERS.size()) + "; both are in " +
                                            fleet.path() + "/differs");
                    const phone_row row = row_of_end(fleet, todo[i], end);
                    part->add(row);
                    if (row.status == phone_status::ok) limit.note(row.host_s);
                    so_far.done += 1;
                    if (row.status != phone_status::ok && so_far.not_ok++ == 0)
                        so_far.first_not_ok = row.number;
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
