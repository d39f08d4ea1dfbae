#include <algorithm>
#include <filesystem>
#include <map>

#include "lab/fleet/fleet_run.h"
#include "lab/fleet/results.h"
#include "lab/io/error.h"
#include "lab/io/text.h"
#include "lab/state/stress_table.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

// Parts of an array of jobs as Slurm takes them: "3,7-9".
std::string array_text(const std::vector<std::uint64_t>& tasks) {
    std::string text;
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        const std::size_t begin = i;
        while (i + 1 < tasks.size() && tasks[i + 1] == tasks[i] + 1) ++i;
        text += (text.empty() ? "" : ",") + std::to_string(tasks[begin]);
        if (i > begin) text += "-" + std::to_string(tasks[i]);
    }
    return text;
}

// Which parts have phones that are missing, as arrays of which no task has a number above `most_parts` (0: any); empty when
// the fleet is cut into none.
std::string parts_missing(const fleet_directory& fleet, const std::vector<phone_range>& gaps,
                          std::uint64_t most_parts) {
    const std::uint64_t in_one = most_parts > 0 ? most_parts : fleet.parts();
    std::string text;
    for (std::uint64_t before = 0; before < fleet.parts(); before += in_one) {
        std::vector<std::uint64_t> tasks;
        for (std::uint64_t task = 1; task <= std::min(in_one, fleet.parts() - before); ++task) {
            const phone_range range = fleet.range_of_part(before + task, fleet.parts());
            const bool is_missing = std::ranges::any_of(gaps, [&](const phone_range& gap) {
                return gap.first <= range.last && gap.last >= range.first;
            });
            if (is_missing) tasks.push_back(task);
        }
        if (tasks.empty()) continue;
        text += "; --array=" + array_text(tasks);
        if (before > 0) text += " with " + counted(before, "part") + " before";
    }
    return text;
}

std::string missing_text(const fleet_directory& fleet, const std::vector<phone_range>& gaps,
                         std::uint64_t most_parts) {
    constexpr std::size_t MOST_NAMED = 10;
    std::uint64_t count = 0;
    std::string text;
    for (std::size_t i = 0; i < gaps.size(); ++i) {
        count += gaps[i].last - gaps[i].first + 1;
        if (i < MOST_NAMED)
            text += (i > 0 ? ", " : "") + std::to_string(gaps[i].first) + "-" + std::to_string(gaps[i].last);
    }
    if (gaps.size() > MOST_NAMED) text += ", ...";
    return fleet.path() + ": " + std::to_string(count) + " phones are missing: " + text +
           parts_missing(fleet, gaps, most_parts);
}

constexpr std::array<const char*, 5> TABLES{"phone", "trip", "moment", "histogram", "took"};

void take_over(results& into, const std::string& from) {
    database& file = into.file();
    query(file, "ATTACH ? AS part").with(from).run();
    {
        query differing(
            file,
            "SELECT number FROM phone JOIN part.phone AS other USING(number) WHERE phone.status <> "
            "other.status OR phone.events_digest <> other.events_digest LIMIT 1");
        if (differing.next())
            throw input_error(from + ": phone " + differing.text(0) + " ended differently there than here");
    }
    file.run("BEGIN; CREATE TEMP TABLE there AS SELECT number FROM phone;");
    for (const char* const table : TABLES)
        file.run("INSERT INTO main." + std::string(table) + " SELECT * FROM part." + table +
                 " WHERE number NOT IN (SELECT number FROM there)");
    file.run("DROP TABLE there; COMMIT; DETACH part;");
}

// The daemon's histogram summed over the phones of each kind, and over all: hours that so many phones out there would have.
void sum_histograms(results& of) {
    struct sum {
        double phones = 0;
        std::array<std::array<double, TEMP_BANDS>, VOLT_BANDS> hours{};
    };
    std::map<std::pair<std::string, std::string>, sum> sums;
    const std::vector<std::string> groups = of.group_columns();
    of.each([&](const phone_row& row) {
        const auto table = parse_stress_table(row.histogram);
        if (!table) return;
        const auto add = [&](sum& to) {
            to.phones += row.weight;
            for (std::size_t v = 0; v < VOLT_BANDS; ++v) {
                for (std::size_t t = 0; t < TEMP_BANDS; ++t)
                    to.hours[v][t] += row.weight * static_cast<double>((*table)[v][t]);
            }
        };
        add(sums[{"", ""}]);
        for (std::size_t i = 0; i < groups.size(); ++i) add(sums[{groups[i], row.options[i]}]);
    });
    database& file = of.file();
    file.run(
        "BEGIN; CREATE TABLE hours(\"group\" TEXT, kind TEXT, volt_band INTEGER, temp_band INTEGER,"
        " hours REAL, phones REAL, PRIMARY KEY(\"group\", kind, volt_band, temp_band)) WITHOUT ROWID;");
    query insert(file, "INSERT INTO hours VALUES(?, ?, ?, ?, ?, ?)");
    for (const auto& [key, each] : sums) {
        for (std::size_t v = 0; v < VOLT_BANDS; ++v) {
            for (std::size_t t = 0; t < TEMP_BANDS; ++t) {
                insert.with(key.first).with(key.second).with(static_cast<std::int64_t>(v));
                insert.with(static_cast<std::int64_t>(t)).with(each.hours[v][t]).with(each.phones).run();
            }
        }
    }
    file.run("COMMIT");
}

}  // namespace

void gather(const fleet_directory& fleet, std::uint64_t most_parts) {
    const phone_range all{0, fleet.count() - 1};
    const std::vector<phone_range> gaps = fleet.missing(all);
    if (!gaps.empty()) throw answer_is_no(missing_text(fleet, gaps, most_parts));
    const std::vector<std::string> files = fleet.complete_files();
    if (files.size() == 1 && files.front() == fleet.joined()) return;
    const std::string work = fleet.joined() + ".work";
    fs::remove(work);
    {
        results joined(work, fleet.phones(), fleet.identity(), all);
        for (const std::string& each : files) take_over(joined, each);
        sum_histograms(joined);
        joined.complete();
    }
    sync_to_disk(work);
    fs::rename(work, fleet.joined());
    sync_to_disk(fleet.path());
    // Everything that the parts held is in it.
    for (const std::string& each : files) {
        if (each != fleet.joined()) fs::remove(each);
    }
}

std::size_t add_parts(const fleet_directory& to, const std::string& from) {
    const fleet_directory other(from);
    if (!(other.identity() == to.identity()))
        throw input_error(from + ": of another build, population or settings than " + to.path());
    std::size_t taken = 0;
    for (const std::string& each : other.complete_files()) {
        const phone_range range = results(each).about();
        const std::string target = to.part_file(range);
        if (fs::exists(target)) continue;
        const std::string work = to.path() + "/parts/" + std::to_string(range.first) + ".copy";
        fs::copy_file(each, work, fs::copy_options::overwrite_existing);
        sync_to_disk(work);
        fs::rename(work, target);
        ++taken;
    }
    return taken;
}

}  // namespace lab
