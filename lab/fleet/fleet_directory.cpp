#include "lab/fleet/fleet_directory.h"

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "lab/compare/digest.h"
#include "lab/compare/run_json.h"
#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/io/output_file.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view COMPLETE = ".sqlite";
constexpr std::string_view WORK = ".work";
constexpr const char* FILES = "/files";

// Of its text, what is set for all, and the files that it names.
std::string population_digest(const std::string& text, const std::vector<std::string>& settings,
                              const population& of) {
    digest sum;
    sum.add(text);
    for (const std::string& each : settings) sum.add(each);
    for (const std::string& each : of.files) sum.add(read_file(of.path_of(each)));
    return sum.hex();
}

// "0-99" before `ending`; nothing for another name.
std::optional<phone_range> range_in(const std::string& name, std::string_view ending) {
    if (!name.ends_with(ending)) return std::nullopt;
    phone_range range;
    const char* const end = name.data() + name.size() - ending.size();
    const auto first = std::from_chars(name.data(), end, range.first);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != '-') return std::nullopt;
    const auto last = std::from_chars(first.ptr + 1, end, range.last);
    if (last.ec != std::errc() || last.ptr != end || range.last < range.first) return std::nullopt;
    return range;
}

std::vector<phone_range> ranges_in(const std::string& directory, std::string_view ending) {
    std::vector<phone_range> found;
    std::error_code none;
    for (const auto& each : fs::directory_iterator(directory, none)) {
        if (const auto range = range_in(each.path().filename().string(), ending)) found.push_back(*range);
    }
    std::ranges::sort(found, {}, &phone_range::first);
    return found;
}

std::string range_text(phone_range of) {
    return std::to_string(of.first) + "-" + std::to_string(of.last);
}

std::string identity_text(const fleet_identity& of) {
    return "daemon " + of.build.daemon + ", lab " + of.build.lab + ", population " + of.population;
}

}  // namespace

fleet_directory::fleet_directory(std::string path, const fleet_wishes& wishes) : path_(std::move(path)) {
    if (!fs::exists(path_ + "/fleet.json")) {
        freeze(wishes);
        return;
    }
    read();
    require_this_build();
    if (!wishes.population.empty()) {
        const std::string text = read_file(wishes.population);
        const population given = parse_population(text, wishes.population, wishes.settings);
        if (population_digest(text, wishes.settings, given) != identity_.population)
            throw input_error(path_ + ": was begun with another population or other settings than " +
                              wishes.population + "; give another --out");
    }
    if (wishes.phones > 0 && wishes.phones < count_)
        throw input_error(path_ + ": has " + std::to_string(count_) +
                          " phones; --phones can only raise that");
    const bool grows = wishes.phones > count_ || (wishes.parts > 0 && wishes.parts != parts_);
    count_ = std::max(count_, wishes.phones);
    parts_ = wishes.parts > 0 ? wishes.parts : parts_;
    if (grows) write_facts();
}

fleet_directory::fleet_directory(std::string path) : path_(std::move(path)) {
    if (!fs::exists(path_ + "/fleet.json"))
        throw input_error(path_ + ": no fleet; vorn-lab fleet run makes one");
    read();
}

void fleet_directory::freeze(const fleet_wishes& wishes) {
    if (wishes.population.empty()) throw input_error(path_ + ": no fleet, and no population to begin with");
    text_ = read_file(wishes.population);
    settings_ = wishes.settings;
    population_ = parse_population(text_, wishes.population, settings_);
    identity_ = {this_build(), population_digest(text_, settings_, population_)};
    count_ = wishes.phones > 0 ? wishes.phones : population_.phones;
    parts_ = wishes.parts;
    std::error_code wrong;
    fs::create_directories(path_ + "/parts", wrong);
    if (wrong) throw input_error(path_ + ": " + wrong.message());
    write_whole(path_ + "/population.toml", text_);
    if (!population_.files.empty()) fs::create_directories(path_ + FILES);
    for (std::size_t i = 0; i < population_.files.size(); ++i) {
        const std::string& name = population_.files[i];
        write_whole(path_ + FILES + "/" + population::copy_name(i, name),
                    read_file(population_.path_of(name)));
    }
    population_.copies = path_ + FILES;
    write_facts();
}

void fleet_directory::write_facts() const {
    const nlohmann::ordered_json facts{{"schema", FLEET_SCHEMA},
                                       {"build", json_of(identity_.build)},
                                       {"population", identity_.population},
                                       {"settings", settings_},
                                       {"phones", count_},
                                       {"parts", parts_}};
    write_whole(path_ + "/fleet.json", facts.dump(1) + "\n");
}

void fleet_directory::read() {
    const std::string name = path_ + "/fleet.json";
    try {
        const auto facts = nlohmann::ordered_json::parse(read_file(name));
        if (facts.at("schema") != FLEET_SCHEMA) throw input_error(name + ": of another version of vorn-lab");
        identity_.build.version = facts.at("build").at("version");
        identity_.build.daemon = facts.at("build").at("daemon");
        identity_.build.lab = facts.at("build").at("lab");
        identity_.population = facts.at("population");
        settings_ = facts.at("settings");
        count_ = facts.at("phones");
        parts_ = facts.at("parts");
    } catch (const nlohmann::json::exception&) {
        throw input_error(name + ": not what vorn-lab wrote");
    }
    text_ = read_file(path_ + "/population.toml");
    population_ = parse_population(text_, path_ + "/population.toml", settings_, path_ + FILES);
    if (population_digest(text_, settings_, population_) != identity_.population)
        throw input_error(
            path_ + "/population.toml: it or a file that it names has changed since the fleet was begun");
}

void fleet_directory::require_this_build() const {
    const fleet_identity now{this_build(), identity_.population};
    if (!(now == identity_))
        throw input_error(path_ + ": was begun by another build (" + identity_text(identity_) +
                          "); give another --out, or run that build");
}

std::string fleet_directory::part_file(phone_range of) const {
    return path_ + "/parts/" + range_text(of) + std::string(COMPLETE);
}
std::string fleet_directory::work_file(phone_range of) const {
    return path_ + "/parts/" + range_text(of) + std::string(WORK);
}

std::vector<std::string> fleet_directory::complete_files(phone_range within) const {
    std::vector<std::string> files;
    if (fs::exists(joined())) files.push_back(joined());
    for (const phone_range& each : ranges_in(path_ + "/parts", COMPLETE)) {
        if (each.first <= within.last && each.last >= within.first) files.push_back(part_file(each));
    }
    for (const std::string& each : files) {
        results part(each);
        if (!(part.identity() == identity_))
            throw input_error(each + ": of another build or population (" + identity_text(part.identity()) +
                              ") than " + path_ + " (" + identity_text(identity_) + ")");
        if (!part.is_complete())
            throw input_error(each + ": not what was written; remove it and run its phones again");
    }
    return files;
}

std::vector<phone_range> fleet_directory::begun() const {
    return ranges_in(path_ + "/parts", WORK);
}

std::vector<phone_range> fleet_directory::missing(phone_range within) const {
    std::vector<phone_range> there;
    for (const std::string& each : complete_files(within)) there.push_back(results(each).about());
    std::vector<std::uint64_t> cuts;
    for (const phone_range& each : begun()) {
        cuts.push_back(each.first);
        cuts.push_back(each.last + 1);
    }
    std::ranges::sort(there, {}, &phone_range::first);
    std::ranges::sort(cuts);
    std::vector<phone_range> gaps;
    const auto add = [&](std::uint64_t first, std::uint64_t end) {
        for (const std::uint64_t cut : cuts) {
            if (cut <= first || cut >= end) continue;
            gaps.push_back({first, cut - 1});
            first = cut;
        }
        if (first < end) gaps.push_back({first, end - 1});
    };
    std::uint64_t next = within.first;
    for (const phone_range& each : there) {
        if (each.last < next) continue;
        if (each.first > within.last) break;
        if (each.first > next) add(next, each.first);
        next = each.last + 1;
    }
    if (next <= within.last) add(next, within.last + 1);
    return gaps;
}

phone_range fleet_directory::range_of_part(std::uint64_t part, std::uint64_t parts) const {
    return {(part - 1) * count_ / parts, part * count_ / parts - 1};
}

void write_whole(const std::string& path, const std::string& text) {
    output_file file(path);
    file.write(text);
    file.finish();
    file.commit();
}

void sync_to_disk(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool is_synced = descriptor >= 0 && ::fsync(descriptor) == 0;
    if (descriptor >= 0) ::close(descriptor);
    if (!is_synced) throw input_error(path + ": cannot be written to the disk");
}

results joined_results(const std::string& directory) {
    const fleet_directory fleet(directory);
    if (!fs::exists(fleet.joined()))
        throw input_error(directory + ": its parts are not joined yet: vorn-lab fleet gather " + directory);
    return results(fleet.joined());
}

}  // namespace lab
