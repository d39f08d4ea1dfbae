#include "lab/scenario/override.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "lab/io/error.h"
#include "lab/io/text.h"
#include "lab/scenario/toml_file.h"

namespace lab {

namespace {

using steps = std::span<const std::string>;

constexpr std::string_view EVERY = "*";
// What a scenario has several of, where it has any.
constexpr std::array<std::string_view, 4> LISTS{"phase", "event", "expect", "daily"};

std::string joined(steps path) {
    std::string text;
    for (const std::string& each : path) {
        const bool is_place = !each.empty() && each.find_first_not_of("0123456789") == each.npos;
        text += is_place ? "[" + each + "]" : (text.empty() ? "" : ".") + each;
    }
    return for_message(text);
}

bool is_list(std::string_view name) {
    return std::find(LISTS.begin(), LISTS.end(), name) != LISTS.end();
}

std::optional<std::size_t> place_of(const std::string& step) {
    std::size_t place = 0;
    const auto [end, wrong] = std::from_chars(step.data(), step.data() + step.size(), place);
    if (wrong != std::errc() || end != step.data() + step.size()) return std::nullopt;
    return place;
}

// "phase[0].load_mw" in its steps. A property's name has dots of its own, and a state file's field brackets.
std::vector<std::string> steps_of(const std::string& key) {
    const std::size_t dot = key.find('.');
    if (key.starts_with("properties.")) return {"properties", key.substr(dot + 1)};
    if (const std::size_t field = key.find('.', dot + 1); key.starts_with("files.") && field != key.npos)
        return {"files", key.substr(dot + 1, field - dot - 1), key.substr(field + 1)};
    std::vector<std::string> path{""};
    for (std::size_t i = 0; i < key.size(); ++i) {
        const bool ends_place =
            key[i] == ']' && (i + 1 == key.size() || key[i + 1] == '.' || key[i + 1] == '[');
        if (ends_place) continue;
        if (key[i] == '.' || key[i] == '[') {
            path.emplace_back();
        } else {
            path.back() += key[i];
        }
    }
    return path;
}

class setter {
  public:
    setter(std::vector<std::string> path, const toml::node& value, const std::string& name)
        : path_(std::move(path)), value_(value), name_(name) {}

    // All places, or the reason why there is none.
    void set(toml::table& top) {
        if (set_in(top, 0) == 0) fail(missing_);
    }

  private:
    [[noreturn]] void fail(const std::string& what) const {
        throw input_error(on_one_line("--set " + joined(path_) + ": " + what + " (in " + name_ + ")"));
    }
    steps up_to(std::size_t depth) const { return steps(path_).first(depth); }
    std::string rest_from(std::size_t depth) const {
        const std::string rest = joined(steps(path_).subspan(depth));
        return (rest.starts_with('[') ? "" : ".") + rest;
    }

    // How many places it reached below this one.
    std::size_t set_in(toml::node& at, std::size_t depth) {
        if (toml::table* const table = at.as_table()) return set_in_table(*table, depth);
        if (toml::array* const list = at.as_array()) return set_in_list(*list, depth);
        fail(joined(up_to(depth)) + " is a value: nothing is below it");
    }

    std::size_t set_in_table(toml::table& table, std::size_t depth) {
        const std::string& step = path_[depth];
        if (step == EVERY || place_of(step)) fail_no_list(depth);
        if (depth + 1 == path_.size()) {
            table.insert_or_assign(step, value_);
            return 1;
        }
        const bool wants_list = path_[depth + 1] == EVERY || place_of(path_[depth + 1]);
        if (wants_list && !table.contains(step)) return note_no_list(depth);
        const auto [entry, is_new] = table.insert(step, toml::table{});
        return set_in(entry->second, depth + 1);
    }

    std::size_t set_in_list(toml::array& list, std::size_t depth) {
        const std::string& step = path_[depth];
        const std::string of = joined(up_to(depth));
        if (step != EVERY && !place_of(step)) {
            const bool is_key = depth + 1 == path_.size() || is_list(step);
            const std::string rest = rest_from(is_key ? depth : depth + 1);
            fail(of + " is a list: " + of + "[0]" + rest + " is its first, " + of + ".*" + rest +
                 " all of them");
        }
        std::size_t reached = 0;
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (step != EVERY && place_of(step) != i) continue;
            if (depth + 1 == path_.size()) fail(of + " holds tables: name a key of it");
            reached += set_in(list[i], depth + 1);
        }
        if (reached == 0 && missing_.empty()) {
            missing_ = "there " + (list.size() == 1 ? "is " + of + "[0] only"
                                                    : "are " + of + "[0] to " + of + "[" +
                                                          std::to_string(list.size() - 1) + "]");
        }
        return reached;
    }

    [[noreturn]] void fail_no_list(std::size_t depth) const {
        if (depth == 0) fail("a scenario begins with a name, such as phase.*.load_mw or cell.soc_pct");
        const std::string of = joined(up_to(depth));
        const std::string rest =
            depth + 1 < path_.size() ? "; did you mean " + of + rest_from(depth + 1) + "?" : "";
        fail(of + " is no list" + rest);
    }

    std::size_t note_no_list(std::size_t depth) {
        const auto meant_list = nearest(path_[depth], LISTS);
        if (!is_list(path_[depth]) && !meant_list) fail_no_list(depth + 1);
        if (!missing_.empty()) return 0;
        missing_ = "there is no " + joined(up_to(depth + 1));
        if (!is_list(path_[depth])) missing_ += "; did you mean " + std::string(*meant_list) + "?";
        return 0;
    }

    std::vector<std::string> path_;
    const toml::node& value_;
    const std::string& name_;
    std::string missing_;
};

}  // namespace

void apply_override(toml::table& top, const std::string& text, const std::string& name) {
    const auto equals = text.find('=');
    std::vector<std::string> path = steps_of(text.substr(0, equals));
    const bool has_gap = std::find(path.begin(), path.end(), "") != path.end();
    if (equals == std::string::npos || has_gap)
        throw input_error("--set: not KEY=VALUE: " + for_message(text));
    const std::string value = text.substr(equals + 1);
    toml::table parsed;
    try {
        parsed = parse_toml("value = " + value, name);
    } catch (const input_error&) {
        parsed.insert_or_assign("value", value);
    }
    setter(std::move(path), *parsed.get("value"), name).set(top);
}

}  // namespace lab
