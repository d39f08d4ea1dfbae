#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <map>
#include <optional>

#include "lab/fleet/population.h"
#include "lab/fleet/probability.h"
#include "lab/phone/chance.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

constexpr double DAY_S = 86400;
constexpr double LEAST_SERVICE_DAYS = 0.01, MOST_SERVICE_DAYS = 36500;

// Which draw a name is (FNV-1a): what is added to a population later leaves the other draws as they were.
std::int64_t moment_of(std::string_view name) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    return static_cast<std::int64_t>(hash);
}

// Between 0 and 1, both excluded.
double uniform_for(const population& of, std::uint64_t number, std::string_view name) {
    const phone::draws drawn({of.seed, number}, phone::stream::population, moment_of(name));
    return drawn.uniform(0) + 0x1.0p-54;
}

std::vector<std::size_t> draw_options(const population& of, std::uint64_t number) {
    std::vector<std::size_t> options;
    for (const population_group& group : of.groups) {
        double left = uniform_for(of, number, "group " + group.name);
        std::size_t which = 0;
        while (which + 1 < group.options.size() && left >= group.options[which].chance_of_draw)
            left -= group.options[which++].chance_of_draw;
        options.push_back(which);
    }
    return options;
}

std::vector<const population_key*> keys_of(const population& of, const std::vector<std::size_t>& options) {
    std::vector<const population_key*> keys;
    std::map<std::string, std::size_t> place_of;
    const auto take = [&](const std::vector<population_key>& from) {
        for (const population_key& each : from) {
            const auto [place, is_new] = place_of.try_emplace(each.path(), keys.size());
            if (is_new) {
                keys.push_back(&each);
            } else {
                keys[place->second] = &each;
            }
        }
    };
    take(of.keys);
    for (std::size_t i = 0; i < options.size(); ++i) take(of.groups[i].options[options[i]].keys);
    return keys;
}

std::string quoted(const std::string& text) {
    return toml_text(toml::value<std::string>(text));
}

std::string names_of(const population& of, const std::vector<std::size_t>& options) {
    std::string text;
    for (std::size_t i = 0; i < options.size(); ++i) text += ", " + of.groups[i].options[options[i]].name;
    return text;
}

std::int64_t service_s(const population& of, const population_key& key, const std::string& text) {
    double days = 0;
    const char* const end = text.data() + text.size();
    const auto [read_to, wrong] = std::from_chars(text.data(), end, days);
    if (wrong != std::errc() || read_to != end || !(days >= LEAST_SERVICE_DAYS && days <= MOST_SERVICE_DAYS))
        fail_at(of.file, key.place,
                std::string(SERVICE_KEY) + " must be days from 0.01 to 36500, not " + text);
    return static_cast<std::int64_t>(days * DAY_S);
}

// The scenario's text, line by line with the place each line is from.
struct scenario_lines {
    std::string text;
    std::vector<toml::source_region> places;

    void add(const std::string& line, const toml::source_region& place = {}) {
        text += line + '\n';
        places.insert(places.end(), static_cast<std::size_t>(std::ranges::count(line, '\n')) + 1, place);
    }
};

}  // namespace

composed_phone compose_phone(const population& of, std::uint64_t number,
                             const std::vector<std::size_t>& options, const chance_of_key& chance_of) {
    composed_phone made;
    phone_plan& plan = made.plan;
    plan.number = number;
    plan.options = options;
    plan.span_s = of.span_s;
    for (std::size_t i = 0; i < options.size(); ++i) plan.weight *= of.groups[i].options[options[i]].weight;

    scenario_lines lines;
    lines.add("title = " +
              quoted("Phone " + std::to_string(number) + " of " + of.title + names_of(of, options)));
    lines.add("seed = " + std::to_string(of.seed));
    lines.add("number = " + std::to_string(number));
    std::vector<std::pair<const population_key*, std::string>> valued;
    std::vector<std::string> sections{""};
    for (const population_key* each : keys_of(of, options)) {
        const std::string text = each->draw.text_at(chance_of(*each));
        if (each->draw.kind != draw_kind::constant) plan.values.emplace_back(each->path(), text);
        if (each->path() == SERVICE_KEY) {
            plan.span_s = std::min(of.span_s, service_s(of, *each, text));
            continue;
        }
        valued.emplace_back(each, text);
        if (std::ranges::find(sections, each->section) == sections.end()) sections.push_back(each->section);
    }
    if (std::ranges::find(sections, "phase") == sections.end()) sections.emplace_back("phase");
    for (const std::string& section : sections) {
        const bool is_list = section == "phase" || section.ends_with(']');
        const std::string name = section.substr(0, section.find('['));
        const auto first =
            std::ranges::find(valued, section, [](const auto& each) { return each.first->section; });
        if (!section.empty())
            lines.add((is_list ? "\n[[" : "\n[") + name + (is_list ? "]]" : "]"),
                      first == valued.end() ? toml::source_region{} : first->first->place);
        if (section == "phase") lines.add("for = " + std::to_string(plan.span_s));
        for (const auto& [key, text] : valued) {
            if (key->section != section || key->name.empty()) continue;
            const bool is_file = key->path() == FILE_KEY && text_in_toml(text).has_value();
            lines.add(key->name + " = " + (is_file ? quoted(of.path_of(*text_in_toml(text))) : text),
                      key->place);
        }
    }
    plan.scenario_text = lines.text;
    made.places = lines.places;
    return made;
}

phone_plan plan_phone(const population& of, std::uint64_t number) {
    std::vector<double> normal;
    for (const std::string& path : of.correlated) {
        normal.push_back(normal_quantile(uniform_for(of, number, path)));
    }
    const auto chance_of = [&](const population_key& key) {
        if (key.draw.kind == draw_kind::constant) return 0.5;
        const std::string path = key.path();
        const auto found = std::ranges::find(of.correlated, path);
        if (found == of.correlated.end()) return uniform_for(of, number, path);
        const auto row = static_cast<std::size_t>(found - of.correlated.begin());
        double sum = 0;
        for (std::size_t i = 0; i <= row; ++i) sum += of.factor[row][i] * normal[i];
        return std::clamp(normal_cdf(sum), 0x1.0p-54, 1 - 0x1.0p-53);
    };
    return compose_phone(of, number, draw_options(of, number), chance_of).plan;
}

scenario scenario_of(const population& of, const phone_plan& plan) {
    return parse_scenario(plan.scenario_text, "phone " + std::to_string(plan.number) + " of " + of.file);
}

std::string population::copy_name(std::size_t place, const std::string& name) {
    return std::to_string(place) + "-" + fs::path(name).filename().string();
}

std::string population::path_of(const std::string& name) const {
    const auto found = std::ranges::find(files, name);
    const bool is_copied = !copies.empty() && found != files.end();
    const fs::path path =
        is_copied ? fs::path(copies) / copy_name(static_cast<std::size_t>(found - files.begin()), name)
                  : fs::path(file).parent_path() / name;
    return fs::absolute(path).lexically_normal().string();
}

std::string phone_plan::text_of(std::string_view path) const {
    for (const auto& [key, text] : values) {
        if (key == path) return text;
    }
    return {};
}

std::vector<std::string> population::drawn_paths() const {
    std::vector<std::string> paths;
    const auto take = [&paths](const std::vector<population_key>& from) {
        for (const population_key& each : from) {
            const bool is_new = std::ranges::find(paths, each.path()) == paths.end();
            if (each.draw.kind != draw_kind::constant && is_new) paths.push_back(each.path());
        }
    };
    take(keys);
    for (const population_group& group : groups) {
        for (const population_option& option : group.options) take(option.keys);
    }
    return paths;
}

}  // namespace lab
