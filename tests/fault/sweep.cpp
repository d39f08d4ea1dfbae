// vorn_sweep: one run of the daemon down the road (road.h) for each thing that can go wrong on it.
//
//     vorn_sweep faults    each platform operation fails, in each way, once and from then on
//     vorn_sweep cuts      the power goes after each write and inside it at every byte
//     vorn_sweep road      the road alone: what it visits
//
// A number after the first two runs that operation only.
//
// The runs follow each other in one process, which a run that crashes or hangs takes down; the next one is then the
// first of another. After each run these hold: it did not crash or hang; all that watch.h promises;
// once the fault is over, the next cycle is whole, within an hour every file is, and after the next start
// everything published is what it would have been without the fault. What the state files then hold less of is
// counted; nothing is lost but what KNOWN_COSTS names, or where all operations of a kind fail from then on.

#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "core/sys_properties.h"
#include "holdings.h"
#include "journey.h"
#include "platform/os.h"
#include "platform/properties.h"
#include "util/record_index.h"

namespace {

using namespace fault;
using kind = virtual_device::operation;

constexpr unsigned RUN_LIMIT_S = 20;  // a run takes some milliseconds
constexpr std::size_t WORKERS = 2;
constexpr int REPORTED_RUNS = 20;  // more than this many broken runs are only counted

struct cost {
    int runs;
    long most_tenths;
};
struct counts {               // shared by all processes
    std::size_t at[WORKERS];  // the run that each of them is at
    int runs;
    int broken;
    long cycles;
    cost costs[KNOWN_COSTS.size() + 1];  // the last: where everything of a kind fails
};

// What the road alone comes to.
struct outcome {
    std::string publishes;  // empty when it is not whole
    holdings holds;
};

// In the order of virtual_device::operation.
constexpr const char* NAMES[] = {"open",         "read",  "write",     "property_set",
                                 "property_get", "clock", "local_time"};

std::string describe(const mishap& what, const operation& where) {
    const char* const lasts[] = {"once", "on this target from then on", "on every target from then on"};
    const std::string how =
        what.allowed == virtual_device::FAIL ? "fails" : "moves " + std::to_string(what.allowed);
    return std::string(what.cuts_power ? "power cut: " : "") + NAMES[static_cast<int>(where.kind)] + " " +
           where.target + " (operation " + std::to_string(what.nth) + ") " + how + ", " +
           lasts[static_cast<int>(what.lasts)];
}

void report(const mishap& what, const operation& where, const std::string& broken, const counts& total) {
    if (__atomic_load_n(&total.broken, __ATOMIC_RELAXED) < REPORTED_RUNS)
        fprintf(stderr, "%s:\n  %s\n", describe(what, where).c_str(), broken.c_str());
}

void count(cost& into, double amount) {
    const long tenths = std::lround(amount * 10);
    __atomic_add_fetch(&into.runs, 1, __ATOMIC_RELAXED);
    long most = __atomic_load_n(&into.most_tenths, __ATOMIC_RELAXED);
    while (most < tenths && !__atomic_compare_exchange_n(&into.most_tenths, &most, tenths, false,
                                                         __ATOMIC_RELAXED, __ATOMIC_RELAXED)) {
    }
}

void weigh_losses(journey& run, const mishap& what, const operation& where, const holdings& due,
                  counts& total) {
    for (const loss& each : losses(due, held_now())) {
        const bool is_all = what.lasts == mishap::scope::kind;
        const std::size_t known =
            is_all ? KNOWN_COSTS.size() : known_cost_of(where.target, each.what, what.cuts_power);
        if (known == KNOWN_COSTS.size() && !is_all) {
            run.seen.note("lost " + std::to_string(each.amount) + " " + each.what);
        } else {
            count(total.costs[known], each.amount);
        }
    }
}

void print_losses(const counts& total) {
    for (std::size_t i = 0; i < KNOWN_COSTS.size(); ++i) {
        const known_cost& each = KNOWN_COSTS[i];
        const cost& paid = total.costs[i];
        if (paid.runs == 0) continue;
        printf("lost: at most %.1f %s in %d runs by %s: %s\n", static_cast<double>(paid.most_tenths) / 10,
               each.what.data(), paid.runs, each.target.empty() ? "any" : each.target.data(),
               each.why.data());
    }
    printf("lost: %d losses where all operations of a kind fail from then on; nothing else\n",
           total.costs[KNOWN_COSTS.size()].runs);
}

// Whether it went well.
bool run_here(const road& along, const mishap& what, const operation& where, const outcome& due,
              counts& total) {
    alarm(RUN_LIMIT_S);
    virtual_device::reset_device();
    journey run(along);
    run.sweeps_calm = what.cuts_power;
    const bool is_short_read = where.kind == kind::read && what.allowed != virtual_device::FAIL;
    if (is_short_read) {
        // A number of which the device gave only a part is taken for what it says.
        run.seen.expect_torn(where.target);
        run.seen.expect_torn("/mnt/vendor/nvcfg/vorn/batt_precharge_timer");
        if (what.lasts == mishap::scope::kind) run.seen.expect_all_torn();
    }
    run.run(what);
    weigh_losses(run, what, where, due.holds, total);
    if (journey::published() != due.publishes) run.seen.note("in the end publishes\n" + journey::published());
    __atomic_add_fetch(&total.cycles, static_cast<long>(run.cycles), __ATOMIC_RELAXED);
    for (const std::string& each : run.seen.broken()) report(what, where, each, total);
    return run.seen.broken().empty();
}

// All that can go wrong, on the way by which it does.
struct sweep {
    const road& along;
    const std::vector<operation>& operations;
    const std::vector<mishap>& mishaps;
    const outcome& due;
    counts& total;

    void count_run(bool is_well) const {
        __atomic_add_fetch(&total.runs, 1, __ATOMIC_RELAXED);
        if (!is_well) __atomic_add_fetch(&total.broken, 1, __ATOMIC_RELAXED);
    }

    // Every WORKERS-th run from `first` on, in a process of their own.
    pid_t start_worker(std::size_t worker, std::size_t first) const {
        const pid_t child = fork();
        if (child < 0) {
            perror("fork");
            exit(2);
        }
        if (child > 0) return child;
        for (std::size_t i = first; i < mishaps.size(); i += WORKERS) {
            total.at[worker] = i;
            count_run(run_here(along, mishaps[i], operations[mishaps[i].nth], due, total));
        }
        _exit(0);
    }

    void run() const {
        std::map<pid_t, std::size_t> workers;
        for (std::size_t w = 0; w < WORKERS; ++w) workers[start_worker(w, w)] = w;
        for (int status = 0; !workers.empty();) {
            const pid_t ended = wait(&status);
            const std::size_t worker = workers.at(ended);
            workers.erase(ended);
            if (status == 0) continue;
            const mishap& fatal = mishaps[total.at[worker]];
            const bool hangs = WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
            const char* const how = WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "ends the process";
            report(fatal, operations[fatal.nth], hangs ? "hangs" : how, total);
            count_run(false);
            workers[start_worker(worker, total.at[worker] + WORKERS)] = worker;
        }
    }
};

std::vector<std::ptrdiff_t> ways_to_fail(const operation& where) {
    using virtual_device::FAIL;
    const auto half = static_cast<std::ptrdiff_t>(where.size / 2);
    if (where.kind == kind::read) return {FAIL, 0, 1, half};
    if (where.kind == kind::write && where.size > 1) return {FAIL, 0, half};
    return {FAIL};
}

std::vector<mishap> all_faults(const std::vector<operation>& operations) {
    std::vector<mishap> all;
    for (std::size_t n = 0; n < operations.size(); ++n) {
        for (const std::ptrdiff_t allowed : ways_to_fail(operations[n])) {
            for (const auto lasts : {mishap::scope::once, mishap::scope::target, mishap::scope::kind}) {
                all.push_back({n, allowed, lasts, false});
            }
        }
    }
    return all;
}

std::vector<mishap> all_cuts(const std::vector<operation>& operations) {
    std::vector<mishap> all;
    for (std::size_t n = 0; n < operations.size(); ++n) {
        if (operations[n].kind != kind::write) continue;
        for (std::size_t byte = 0; byte <= operations[n].size; ++byte) {
            all.push_back({n, static_cast<std::ptrdiff_t>(byte), mishap::scope::once, true});
        }
    }
    return all;
}

// Plants one of each kind of broken promise: a watch that sleeps proves nothing.
bool is_watch_awake() {
    watch seen;
    property_set(TOC_PROPERTY, "4444");
    const int foreign = os::open_to_write("/data/vendor/vorn/batt_precharge_ubootflag");
    os::write(foreign, "1", 1);
    seen.after_cycle();  // the descriptor is open
    os::close(foreign);
    const int own = os::open_to_write("/mnt/vendor/nvcfg/vorn/toc_clients");
    os::write(own, "\x0b", 1);
    os::write(own, "\1\1", 2);
    os::close(own);
    os::close(os::open_to_write("/mnt/vendor/nvcfg/vorn/core"));
    property_set(DISABLE_PROPERTY, "charge_timer");
    seen.after_faultless_cycle();
    seen.after_boot();
    constexpr std::size_t planted = 8;  // the long write also leaves the file too long
    for (const std::string& each : seen.broken()) printf("  %s\n", each.c_str());
    return seen.broken().size() == planted;
}

// The road without a mishap.
outcome travel(journey& run) {
    run.keeps_operations = true;
    run.run({});
    for (const std::string& each : run.seen.broken()) fprintf(stderr, "the road alone: %s\n", each.c_str());
    bool is_whole = run.seen.broken().empty();
    const char* const ids[] = {
#define VORN_RECORD_ID(name, id, version, format) id,
        VORN_RECORDS(VORN_RECORD_ID)
#undef VORN_RECORD_ID
    };
    for (const char* id : ids) {
        if (run.seen.records().count(id) != 0) continue;
        fprintf(stderr, "the road does not come by record %s\n", id);
        is_whole = false;
    }
    return {is_whole ? journey::published() : "", held_now()};
}

}  // namespace

int main(int count, char** arguments) {
    const std::string what = count >= 2 ? arguments[1] : "";
    if ((what != "faults" && what != "cuts" && what != "road") || count > 3) {
        fprintf(stderr, "usage: vorn_sweep faults|cuts [OPERATION], or vorn_sweep road\n");
        return 2;
    }
    setenv("TZ", "UTC", 1);
    const road along = whole_road();
    std::vector<operation> operations;
    outcome due;
    {
        journey alone(along);
        if (what == "cuts") alone.sweeps_calm = true;
        due = travel(alone);
        if (due.publishes.empty()) return 1;
        operations = alone.operations;
        printf(
            "road: %zu boots, %zu cycles, %zu operations that can fail, all %zu records; publishes in the "
            "end:\n%s",
            along.size(), alone.cycles, operations.size(), alone.seen.records().size(),
            due.publishes.c_str());
    }
    virtual_device::reset_device();
    printf("the watch sees:\n");
    if (!is_watch_awake()) {
        fprintf(stderr, "the watch does not see what is planted\n");
        return 1;
    }
    virtual_device::reset_device();
    if (what == "road") return 0;

    std::vector<mishap> all = what == "faults" ? all_faults(operations) : all_cuts(operations);
    if (count == 3) {
        const auto only = static_cast<std::size_t>(strtoul(arguments[2], nullptr, 10));
        std::erase_if(all, [&](const mishap& each) { return each.nth != only; });
    }
    auto* total = static_cast<counts*>(
        mmap(nullptr, sizeof(counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    fflush(stdout);
    sweep{along, operations, all, due, *total}.run();
    print_losses(*total);
    printf("%s: %d of %zu runs over %zu operations, %ld cycles; %d broken\n", what.c_str(), total->runs,
           all.size(), operations.size(), total->cycles, total->broken);
    return total->broken == 0 && static_cast<std::size_t>(total->runs) == all.size() ? 0 : 1;
}
