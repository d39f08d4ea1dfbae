#include "lab/fleet/fleet_plan.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "lab/io/print.h"
#include "lab/io/time_text.h"

namespace lab {

namespace {

constexpr double HOUR_S = 3600;
constexpr double RESERVE = 2;         // other machines may be slower, other phones longer
constexpr std::int64_t OWN_MB = 200;  // of the program that starts the phones
constexpr std::int64_t KB_PER_MB = 1024;

// "HH:MM:SS" for --time.
std::string clock_text(double seconds) {
    const auto minutes = static_cast<std::int64_t>(std::ceil(seconds / 60));
    return text_of("%02lld:%02lld:00", static_cast<long long>(minutes / 60),
                   static_cast<long long>(minutes % 60));
}

}  // namespace

fleet_plan plan_parts(std::uint64_t phones, double phone_s, std::int64_t memory_kb,
                      const cluster_limits& within) {
    fleet_plan made;
    made.phones = phones;
    made.cores = within.cores;
    made.phone_s = phone_s;
    const double all_s = phone_s * static_cast<double>(phones) / static_cast<double>(within.cores);
    made.parts =
        std::clamp(static_cast<std::uint64_t>(std::ceil(all_s / within.part_s)), std::uint64_t{1}, phones);
    if (within.most_parts > 0) made.arrays = (made.parts + within.most_parts - 1) / within.most_parts;
    made.part_s = all_s / static_cast<double>(made.parts);
    made.total_core_h = phone_s * static_cast<double>(phones) / HOUR_S;
    made.memory_mb = OWN_MB + static_cast<std::int64_t>(within.cores) * 2 * (memory_kb / KB_PER_MB + 1);
    return made;
}

std::uint64_t most_parts_in(const std::string& config) {
    const auto found = config.find("MaxArraySize");
    if (found == std::string::npos) return 0;
    const auto digits = config.find_first_of("0123456789", found);
    if (digits == std::string::npos) return 0;
    std::uint64_t size = 0;
    std::from_chars(config.data() + digits, config.data() + config.size(), size);
    return size > 1 ? size - 1 : 0;
}

std::uint64_t most_parts_here() {
    std::string said;
    if (std::FILE* const pipe = ::popen("scontrol show config 2>/dev/null", "r")) {
        char piece[4096];
        while (const std::size_t size = std::fread(piece, 1, sizeof piece, pipe)) said.append(piece, size);
        (void)::pclose(pipe);
    }
    return most_parts_in(said);
}

std::string plan_text(const fleet_plan& of, const std::string& population) {
    std::string out;
    print(out, "%llu phones of at most %.1f s of one core: %.1f core-hours\n",
          static_cast<unsigned long long>(of.phones), of.phone_s, of.total_core_h);
    print(out, "%llu %s of about %s, %lld MB each\n\n", static_cast<unsigned long long>(of.parts),
          of.parts == 1 ? "part" : "parts", duration_text(static_cast<std::int64_t>(of.part_s)).c_str(),
          static_cast<long long>(of.memory_mb));
    const std::string cores = of.cores > 1 ? " --cpus-per-task=" + std::to_string(of.cores) : std::string();
    for (std::uint64_t i = 0; i < of.arrays; ++i) {
        // A task's number has the same limit as their count, so each array counts from 1 and is told what lies before it.
        const std::uint64_t before = i * of.parts / of.arrays;
        const std::uint64_t count = (i + 1) * of.parts / of.arrays - before;
        print(out, "sbatch --array=1-%llu%%200%s --time=%s --mem=%lldM fleet.sbatch %s DIR %llu%s\n",
              static_cast<unsigned long long>(count), cores.c_str(), clock_text(of.part_s * RESERVE).c_str(),
              static_cast<long long>(of.memory_mb), population.c_str(),
              static_cast<unsigned long long>(of.parts),
              before > 0 ? (" " + std::to_string(before)).c_str() : "");
    }
    std::string jobs;
    for (std::uint64_t i = 1; i <= of.arrays; ++i)
        jobs += ":JOB" + (of.arrays > 1 ? std::to_string(i) : std::string());
    print(out, "sbatch --dependency=afterany%s --wrap 'vorn-lab fleet gather DIR'\n", jobs.c_str());
    return out;
}

}  // namespace lab
