#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>

#include "lab/fleet/population.h"
#include "lab/fleet/probability.h"
#include "lab/io/error.h"
#include "lab/io/text.h"
#include "lab/scenario/toml_file.h"

namespace lab {

namespace {

constexpr std::array<std::string_view, 11> SECTIONS{"phone",   "boot_loader", "cell",      "ageing",
                                                    "thermal", "charger",     "gauge",     "weather",
                                                    "user",    "files",       "properties"};
constexpr std::array<std::string_view, 21> TOP_KEYS{
    "title",     "seed",  "phones",  "span",      "start", "time_zone", "group",
    "correlate", "phase", "event",   SERVICE_KEY, "phone", "cell",      "boot_loader",
    "ageing",    "user",  "thermal", "charger",   "gauge", "weather",   "files"};
// Of a distribution, and of nothing else.
constexpr std::array<std::string_view, 7> DRAW_ONLY{"sd",    "sigma_ln", "of",    "weights",
                                                    "least", "most",     "median"};
constexpr double ALL_PCT = 100;
constexpr double NEAR_PCT = 0.01;  // shares written with two decimals may be off by so much

// A key as it must be written in TOML.
std::string key_text(std::string_view key) {
    const bool is_bare = !key.empty() && std::ranges::all_of(key, [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '_' || c == '-';
    });
    return is_bare ? std::string(key) : toml_text(toml::value<std::string>(std::string(key)));
}

class population_reader {
  public:
    explicit population_reader(population& into) : into_(into) {}

    void read(const toml::table& table) {
        toml_section top(into_.file, table, "");
        refuse_unknown(table);
        into_.title = top.text("title").value_or("the population");
        into_.seed = static_cast<std::uint64_t>(top.integer("seed", 0, MOST).value_or(1));
        into_.phones = static_cast<std::uint64_t>(top.integer("phones", 1, MOST_PHONES).value_or(1000));
        const auto span_s = top.duration("span");
        if (!span_s) top.fail(table, "needs span, how long each phone is followed: \"3 years\"");
        if (*span_s <= 0) top.fail(*table.get("span"), "span must be more than 0");
        into_.span_s = *span_s;
        for (const std::string_view key :
             {std::string_view("start"), std::string_view("time_zone"), SERVICE_KEY})
            if (const toml::node* const node = table.get(key))
                add_key(into_.keys, "", std::string(key), *node);
        add_sections(into_.keys, table);
        read_events(top);
        if (auto groups = top.table("group")) read_groups(*groups);
        read_correlations(top);
    }

    void set(const std::string& setting) {
        const auto equals = setting.find('=');
        const auto dot = setting.find('.');
        if (equals == std::string::npos || dot == std::string::npos || dot > equals)
            throw input_error("--set: not SECTION.KEY=VALUE: " + for_message(setting));
        population_key key{setting.substr(0, dot), setting.substr(dot + 1, equals - dot - 1), {}, {}};
        const std::string value = setting.substr(equals + 1);
        try {
            key.draw.values = {toml_text(*parse_toml("value = " + value, into_.file).get("value"))};
        } catch (const input_error&) {
            key.draw.values = {toml_text(toml::value<std::string>(value))};
        }
        remove(into_.keys, key.path());
        for (population_group& group : into_.groups) {
            for (population_option& option : group.options) remove(option.keys, key.path());
        }
        std::erase_if(correlations_, [&](const correlation& each) {
            return each.one == key.path() || each.other == key.path();
        });
        into_.keys.push_back(std::move(key));
    }

    void find_files(const std::string& copies) {
        into_.copies = copies;
        for (const population_key* each : all_keys()) {
            if (each->path() != FILE_KEY) continue;
            for (const std::string& value : each->draw.values) {
                const auto name = text_in_toml(value);
                if (!name || std::ranges::find(into_.files, *name) != into_.files.end()) continue;
                into_.files.push_back(*name);
                if (!std::filesystem::is_regular_file(into_.path_of(*name)))
                    fail_at(into_.file, each->place,
                            "no file " + (copies.empty() ? *name + " beside it" : into_.path_of(*name)));
            }
        }
    }

    // Of the correlations of ranks those of the normal numbers beneath (K. Pearson, 1907), and their Cholesky factor.
    void correlate() {
        for (const correlation& each : correlations_) {
            for (const std::string& path : {each.one, each.other}) {
                if (std::ranges::find(into_.correlated, path) == into_.correlated.end())
                    into_.correlated.push_back(path);
            }
        }
        const std::size_t size = into_.correlated.size();
        into_.factor.assign(size, std::vector<double>(size));
        for (std::size_t i = 0; i < size; ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                double sum = i == j ? 1 : normal_correlation(into_.correlated[i], into_.correlated[j]);
                for (std::size_t k = 0; k < j; ++k) sum -= into_.factor[i][k] * into_.factor[j][k];
                if (i == j && sum < 1e-9)
                    fail_at(into_.file, correlations_.back().place,
                            "these rank correlations cannot all hold");
                into_.factor[i][j] = i == j ? std::sqrt(sum) : sum / into_.factor[j][j];
            }
        }
    }

  private:
    static constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
    static constexpr std::int64_t MOST_PHONES = 1'000'000'000;
    // Each is looked at for each phone, most with each other one.
    static constexpr std::size_t MOST_KEYS = 1000;
    static constexpr std::size_t MOST_GROUPS = 100;
    static constexpr std::size_t MOST_CORRELATIONS = 100;

    struct correlation {
        std::string one, other;
        double rank;
        toml::source_region place;
    };

    void refuse_unknown(const toml::table& table) const {
        for (const auto& [key, node] : table) {
            const std::string_view name = key.str();
            if (std::ranges::find(TOP_KEYS, name) == std::end(TOP_KEYS) && name != "properties")
                fail_at(into_.file, key.source(),
                        "a population knows no " + std::string(name) + meant(name, TOP_KEYS));
        }
    }

    std::vector<const population_key*> all_keys() const {
        std::vector<const population_key*> all;
        const auto take = [&all](const std::vector<population_key>& from) {
            for (const population_key& each : from) all.push_back(&each);
        };
        take(into_.keys);
        for (const population_group& group : into_.groups) {
            for (const population_option& option : group.options) take(option.keys);
        }
        return all;
    }

    static void remove(std::vector<population_key>& from, const std::string& path) {
        std::erase_if(from, [&](const population_key& each) { return each.path() == path; });
    }

    // A table that draws is a value; another one is a section within the section.
    void add_key(std::vector<population_key>& into, const std::string& section, const std::string& name,
                 const toml::node& node) {
        if (++keys_ > MOST_KEYS)
            fail_at(into_.file, node.source(),
                    "more than " + std::to_string(MOST_KEYS) + " keys, the most of a population");
        const toml::table* const table = node.as_table();
        population_key key{section, name, {}, node.source()};
        if (table == nullptr) {
            key.draw.values = {toml_text(node)};
        } else if (table->contains("draw")) {
            toml_section from(into_.file, *table, name);
            key.draw = read_distribution(from);
        } else if (std::ranges::any_of(DRAW_ONLY, [&](auto each) { return table->contains(each); })) {
            fail_at(into_.file, table->source(), name + ": needs draw" + meant("", draw_kind_names));
        } else {
            for (const auto& [inner, value] : *table)
                add_key(into, section, name + "." + key_text(inner.str()), value);
            return;
        }
        into.push_back(std::move(key));
    }

    void add_section(std::vector<population_key>& into, const std::string& section,
                     const toml::table& table) {
        for (const auto& [key, value] : table) add_key(into, section, key_text(key.str()), value);
        // That a section is there says something by itself: [user] is an average person.
        if (!table.empty()) return;
        into.push_back({section, "", {}, table.source()});
        into.back().draw.values = {""};
    }

    void add_sections(std::vector<population_key>& into, const toml::table& table) {
        for (const auto& [key, node] : table) {
            const bool is_section =
                std::ranges::find(SECTIONS, key.str()) != SECTIONS.end() || key.str() == "phase";
            if (!is_section) continue;
            if (!node.is_table())
                fail_at(into_.file, node.source(),
                        std::string(key.str()) + " must be a table: [" + std::string(key.str()) + "]");
            if (key.str() == "phase" && node.as_table()->contains("for"))
                fail_at(into_.file, node.as_table()->get("for")->source(),
                        "a phone's phase lasts for the span");
            add_section(into, std::string(key.str()), *node.as_table());
        }
    }

    void read_events(toml_section& top) {
        std::size_t count = 0;
        for (const toml_section& each : top.tables("event"))
            add_section(into_.keys, "event[" + std::to_string(count++) + "]", each.content());
    }

    void read_groups(toml_section& groups) {
        if (groups.content().size() > MOST_GROUPS)
            groups.fail("more than " + std::to_string(MOST_GROUPS) + " groups, the most of a population");
        for (const auto& [name, node] : groups.content()) {
            population_group& group = into_.groups.emplace_back();
            group.name = name.str();
            group.place = name.source();
            double sum_pct = 0;
            for (toml_section& each : groups.tables(name.str())) {
                population_option option = read_option(each);
                if (std::ranges::find(group.options, option.name, &population_option::name) !=
                    group.options.end())
                    each.fail("there is a " + option.name + " already");
                group.options.push_back(std::move(option));
                sum_pct += group.options.back().share_pct;
            }
            if (std::abs(sum_pct - ALL_PCT) > NEAR_PCT) {
                char text[32];
                const auto end = std::to_chars(text, text + sizeof text, sum_pct).ptr;
                groups.fail(node, "the shares of " + group.name + " sum to " + std::string(text, end) +
                                      " %, not to 100 %");
            }
            weigh(group);
        }
    }

    population_option read_option(toml_section& from) {
        population_option read;
        const auto name = from.text("name");
        const auto share_pct = from.number("share_pct", 0, ALL_PCT);
        read.oversample = from.number("oversample", 1e-3, 1e6).value_or(1);
        read.source = from.text("source").value_or("");
        for (const std::string_view section : SECTIONS) (void)from.take(section);
        (void)from.take("phase");
        from.finish();  // before a misspelt key is missed
        if (!name || !share_pct) from.fail("needs name and share_pct");
        read.name = *name;
        read.share_pct = *share_pct;
        add_sections(read.keys, from.content());
        return read;
    }

    static void weigh(population_group& group) {
        double sum = 0;
        for (const population_option& each : group.options) sum += each.share_pct * each.oversample;
        for (population_option& each : group.options) {
            each.chance_of_draw = each.share_pct * each.oversample / sum;
            each.weight = each.chance_of_draw > 0 ? each.share_pct / ALL_PCT / each.chance_of_draw : 0;
        }
    }

    void read_correlations(toml_section& top) {
        const std::vector<std::string> drawn = into_.drawn_paths();
        const std::vector<std::string_view> known(drawn.begin(), drawn.end());
        for (toml_section& each : top.tables("correlate", MOST_CORRELATIONS)) {
            const toml::node* const keys = each.take("keys");
            const auto rank = each.number("rank", -0.999, 0.999);
            (void)each.take("source");
            each.finish();
            const toml::array* const pair = keys == nullptr ? nullptr : keys->as_array();
            if (pair == nullptr || pair->size() != 2 || !rank)
                each.fail("needs keys, a list of two, and rank, their rank correlation");
            std::array<std::string, 2> names;
            for (std::size_t i = 0; i < names.size(); ++i) {
                names[i] = pair->get(i)->value<std::string>().value_or("");
                if (std::ranges::find(drawn, names[i]) == drawn.end())
                    each.fail(*pair->get(i),
                              "no key that is drawn: \"" + names[i] + "\"" + meant(names[i], known));
            }
            if (names[0] == names[1]) each.fail(*keys, "a key cannot be correlated with itself");
            if (between(names[0], names[1]) != nullptr) each.fail(*keys, "correlated already");
            correlations_.push_back({names[0], names[1], *rank, each.content().source()});
        }
    }

    const correlation* between(const std::string& a, const std::string& b) const {
        const auto found = std::ranges::find_if(correlations_, [&](const correlation& each) {
            return (each.one == a && each.other == b) || (each.one == b && each.other == a);
        });
        return found == correlations_.end() ? nullptr : &*found;
    }

    double normal_correlation(const std::string& a, const std::string& b) const {
        constexpr double PI = 3.141592653589793;
        const correlation* const said = between(a, b);
        return said == nullptr ? 0 : 2 * std::sin(PI / 6 * said->rank);
    }

    population& into_;
    std::size_t keys_ = 0;
    std::vector<correlation> correlations_;
};

}  // namespace

population parse_population(std::string_view text, const std::string& name,
                            const std::vector<std::string>& settings, const std::string& copies) {
    population read;
    read.file = name;
    const toml::table table = parse_toml(text, name);
    population_reader reader(read);
    reader.read(table);
    for (const std::string& each : settings) reader.set(each);
    reader.correlate();
    reader.find_files(copies);
    check_population(read);
    return read;
}

}  // namespace lab
