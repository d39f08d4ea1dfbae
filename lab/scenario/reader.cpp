#include "lab/scenario/reader.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <limits>
#include <optional>

#include "lab/io/csv_reader.h"
#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/io/text.h"
#include "lab/io/time_text.h"
#include "lab/scenario/keys.h"
#include "lab/scenario/override.h"
#include "lab/scenario/toml_file.h"
#include "lab/state/state_layout.h"

namespace lab {

namespace {

constexpr std::int64_t LONGEST_S = 100LL * 365 * 86400;
constexpr std::size_t MOST_PHASES = 1'000'000;
constexpr std::size_t MOST_PROPERTIES = 1'000;  // of an ordinary phone some hundreds
constexpr std::size_t MOST_HOURS =
    878'400;  // of the air: 100 years of 366 days, as long as a scenario may last
constexpr std::array<std::string_view, 9> DAY_NAMES{"sun", "mon", "tue",      "wed",    "thu",
                                                    "fri", "sat", "weekdays", "weekend"};
constexpr std::uint8_t DAY_BITS[] = {1, 2, 4, 8, 16, 32, 64, 0x3E, 0x41};

// "sat", "mon,tue", "weekdays".
std::uint8_t read_days(toml_section& from) {
    const auto text = from.text("days");
    if (!text) return 0x7F;
    std::uint8_t bits = 0;
    std::string_view rest = *text;
    while (!rest.empty()) {
        const auto word = rest.substr(0, rest.find(','));
        rest.remove_prefix(std::min(word.size() + 1, rest.size()));
        const auto found = std::find(DAY_NAMES.begin(), DAY_NAMES.end(), word);
        if (found == DAY_NAMES.end()) {
            from.fail(*from.content().get("days"),
                      "days cannot be \"" + std::string(word) + "\"" + meant(word, DAY_NAMES));
        }
        bits = static_cast<std::uint8_t>(bits | DAY_BITS[found - DAY_NAMES.begin()]);
    }
    return bits;
}

void check_conditions(const toml_section& from, const conditions& set) {
    const bool is_wrong = set.wake_every_s < 0 || set.wake_for_s < 0 ||
                          (set.wake_every_s > 0 && set.wake_for_s > set.wake_every_s);
    if (is_wrong) from.fail("wake_for must be shorter than wake_every, and neither negative");
}

phase read_phase(toml_section& from, std::int64_t begin_s, std::int64_t start_utc_s) {
    phase read;
    read.begin_s = begin_s;
    const auto lasts_s = from.duration("for");
    const auto until_s = from.moment("until", start_utc_s);
    if (lasts_s.has_value() == until_s.has_value()) from.fail("needs either for or until");
    read.end_s = lasts_s ? begin_s + *lasts_s : *until_s;
    if (read.end_s <= begin_s) from.fail("ends before it begins");
    if (read.end_s > LONGEST_S) from.fail("ends more than a hundred years after the start");
    take_keys(from, condition_keys, read.base);
    check_conditions(from, read.base);
    for (toml_section& each : from.tables("daily")) {
        daily_entry entry;
        const auto at_s = each.time_of_day("at");
        if (!at_s) each.fail("needs at, a time of day");
        entry.at_s = *at_s;
        entry.days = read_days(each);
        entry.set = read.base;
        take_keys(each, condition_keys, entry.set);
        check_conditions(each, entry.set);
        each.finish();
        read.daily.push_back(entry);
    }
    std::stable_sort(read.daily.begin(), read.daily.end(),
                     [](const daily_entry& a, const daily_entry& b) { return a.at_s < b.at_s; });
    from.finish();
    return read;
}

template <typename S>
void read_section(toml_section& top, std::string_view name, std::span<const key<S>> keys, S& into) {
    auto section = top.table(name);
    if (!section) return;
    take_keys(*section, keys, into);
    section->finish();
}

void read_phone(toml_section& top, scenario& into) {
    auto section = top.table("phone");
    if (!section) return;
    take_keys(*section, power_keys, into.phone.power);
    take_keys(*section, age_keys, into.phone);
    if (const auto vendor = section->text("cell_vendor")) into.cell_vendor = *vendor;
    if (const auto cycle = section->integer("cycle_s", 1, 86400)) {
        into.cycle_s = static_cast<std::int32_t>(*cycle);
    }
    section->finish();
}

// The hours of a year: a CSV file with a column ambient_c, beside the scenario.
std::vector<double> read_hours(const toml_section& from, const std::string& name) {
    const auto path = std::filesystem::path(from.file()).parent_path() / name;  // "-" is a file here
    csv_reader rows(input_file::open(path.is_absolute() ? path.string() : "./" + path.string()));
    std::vector<double> hours;
    std::size_t column = 0;
    if (!rows.next()) rows.fail(0, "no header");
    while (column < rows.field_count() && rows.field(column) != "ambient_c") ++column;
    if (column == rows.field_count()) rows.fail(0, "no column ambient_c");
    while (rows.next()) {
        double celsius = 0;
        const auto text = column < rows.field_count() ? rows.field(column) : std::string_view();
        const auto [end, wrong] = std::from_chars(text.data(), text.data() + text.size(), celsius);
        const bool is_number = wrong == std::errc() && end == text.data() + text.size();
        if (!is_number || celsius < -100 || celsius > 100)
            rows.fail(column, "not a temperature of the air in °C");
        if (hours.size() == MOST_HOURS)
            rows.fail(column, "more than " + std::to_string(MOST_HOURS) + " hours, the most that are read");
        hours.push_back(celsius);
    }
    if (hours.empty()) rows.fail(0, "no hours");
    return hours;
}

void read_weather(toml_section& top, scenario& into) {
    auto section = top.table("weather");
    if (!section) return;
    into.weather.is_given = true;
    if (const auto file = section->text("file")) into.weather.hours_c = read_hours(*section, *file);
    take_keys(*section, weather_keys, into.weather);
    if (into.weather.indoor_least_c > into.weather.indoor_most_c) {
        section->fail("indoor_least_c is above indoor_most_c");
    }
    section->finish();
}

void read_user(toml_section& top, scenario& into) {
    auto section = top.table("user");
    if (!section) return;
    std::vector<std::string_view> names;
    for (const habit& each : habits) names.push_back(each.name);
    if (const auto which = section->choice("habit", names)) into.user = habits[*which].is;
    into.user.is_given = true;
    take_keys(*section, user_keys, into.user);
    section->finish();
}

std::int64_t read_start(toml_section& top) {
    const toml::node* const node = top.take("start");
    toml::date_time when(toml::date(2026, 1, 1), toml::time(0, 0));
    if (node != nullptr) {
        const auto* const given = node->as_date_time();
        if (given == nullptr) top.fail(*node, "start must be a date and time such as 2026-03-02T07:00:00");
        when = given->get();
    }
    const auto utc_s = utc_of_local(when);
    if (!utc_s) top.fail(*node, "start is no time of this zone");
    return *utc_s;
}

scenario read_table(const toml::table& table, const std::string& name) {
    scenario read;
    read.file = name;
    toml_section top(read.file, table, "");
    read.title = top.text("title").value_or(std::filesystem::path(name).stem().string());
    read.time_zone = top.text("time_zone").value_or(read.time_zone);
    // Every time of day in the file is local time there, so nothing but the title is read before.
    std::optional<local_zone> zone;
    try {
        zone.emplace(read.time_zone);
    } catch (const input_error& unknown) {
        top.fail(*table.get("time_zone"), unknown.what());
    }
    read.start_utc_s = read_start(top);
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    read.chance.seed = static_cast<std::uint64_t>(top.integer("seed", 0, most).value_or(1));
    read.chance.phone = static_cast<std::uint64_t>(top.integer("number", 0, most).value_or(0));
    read_phone(top, read);
    read_section(top, "boot_loader", boot_loader_keys, read.phone.power);
    read_section(top, "cell", cell_keys, read.phone.cell);
    read_section(top, "ageing", ageing_keys, read.phone.ageing);
    read_section(top, "thermal", thermal_keys, read.phone.thermal);
    read_section(top, "charger", charger_keys, read.phone.charger);
    read_section(top, "gauge", gauge_keys, read.phone.gauge);
    read_weather(top, read);
    read_user(top, read);
    read_files(top, read);
    read.phases = read_phases(top, read.start_utc_s);
    // That there is no phase is told last: a key that was meant to be one says more.
    const std::int64_t end_s = read.phases.empty() ? LONGEST_S : read.duration_s();
    for (toml_section& each : top.tables("event")) {
        read.events.push_back(read_scenario_event(each, read.start_utc_s, end_s));
    }
    for (toml_section& each : top.tables("expect")) {
        read.expectations.push_back(read_expectation(each, read.start_utc_s, end_s));
    }
    top.finish();
    if (read.phases.empty()) top.fail(table, "no [[phase]]: a scenario needs at least one");
    return read;
}

}  // namespace

std::vector<phase> read_phases(toml_section& top, std::int64_t start_utc_s) {
    std::vector<phase> phases;
    for (toml_section& each : top.tables("phase", MOST_PHASES)) {
        const std::int64_t begin_s = phases.empty() ? 0 : phases.back().end_s;
        phases.push_back(read_phase(each, begin_s, start_utc_s));
    }
    return phases;
}

// A state file is its bytes in hexadecimal, or a table of its fields.
void read_files(toml_section& top, scenario& into) {
    std::vector<std::string_view> names;
    for (const auto& each : state_files) names.push_back(each.name);
    if (auto files = top.table("files")) {
        for (const auto& [key, node] : files->content()) {
            const state_file* const file = find_state_file(key.str());
            if (file == nullptr) {
                fail_at(into.file, key.source(),
                        "no state file " + std::string(key.str()) + meant(key.str(), names));
            }
            std::string bytes;
            if (const auto* text = node.as_string()) {
                const auto decoded = bytes_from_hex(text->get());
                if (!decoded) files->fail(node, "not hexadecimal digits, two a byte");
                bytes = *decoded;
            } else if (!node.is_table()) {
                files->fail(node, std::string(key.str()) +
                                      " must be its bytes in hexadecimal or a table of its fields");
            } else {
                auto fields = files->table(key.str());
                bytes.resize(file->size);
                for (const auto& [field, value] : fields->content()) {
                    const std::string number = fields->text_or_number(field.str()).value_or("");
                    if (!set_state_field(*file, bytes, field.str(), number)) {
                        fields->fail(value, std::string(key.str()) + " has no field " +
                                                std::string(field.str()) + " that can be " + number +
                                                " (docs/state-files.md)");
                    }
                }
            }
            into.files[std::string(file->path)] = bytes;
        }
    }
    if (auto properties = top.table("properties")) {
        if (properties->content().size() > MOST_PROPERTIES)
            properties->fail("more than " + std::to_string(MOST_PROPERTIES) +
                             " properties, the most that are read");
        for (const auto& [key, node] : properties->content()) {
            if (key.str().find('\0') != std::string_view::npos)
                properties->fail(node, "a NUL in a property's name");
            into.properties[std::string(key.str())] = properties->text_or_number(key.str()).value_or("");
        }
    }
}

scenario parse_scenario(std::string_view text, const std::string& name,
                        const std::vector<std::string>& overrides) {
    toml::table table = parse_toml(text, name);
    for (const auto& each : overrides) apply_override(table, each, name);
    return read_table(table, name);
}

scenario read_scenario(const std::string& path, const std::vector<std::string>& overrides) {
    return parse_scenario(read_file(path), path, overrides);
}

}  // namespace lab
