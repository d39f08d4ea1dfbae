#include "lab/compare/input_difference_json.h"

#include <array>
#include <cmath>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>

namespace lab {

namespace {

using nlohmann::ordered_json;

constexpr std::array<std::string_view, 5> DECISION_CHANGES{"only old", "only new", "later", "earlier",
                                                           "other value"};
constexpr std::array<std::string_view, 3> WEIGHTS{"action", "finding", "routine"};
constexpr std::array<std::string_view, 2> EFFECT_CHANGES{"unlike", "reworded"};
constexpr std::array<std::string_view, 4> KINDS{"log", "metric", "property_set", "write"};

std::span<const std::string_view> names_of(decision_change) {
    return DECISION_CHANGES;
}
std::span<const std::string_view> names_of(importance) {
    return WEIGHTS;
}
std::span<const std::string_view> names_of(effect_change) {
    return EFFECT_CHANGES;
}
std::span<const std::string_view> names_of(event_kind) {
    return KINDS;
}

// The keys of each object, one list for both directions.
template <typename V>
void visit(decision_difference_of& of, V& v) {
    v("change", of.how);
    v("weight", of.weight);
    v("feature", of.feature);
    v("shape", of.shape);
    v("before", of.before);
    v("after", of.after);
    v("values", of.values);
    v("t_s", of.t_s);
    v("by_s", of.by_s);
}

template <typename V>
void visit(quantity_difference& of, V& v) {
    v("key", of.key);
    v("before", of.before);
    v("after", of.after);
}

template <typename V>
void visit(effect_difference& of, V& v) {
    v("change", of.how);
    v("kind", of.kind);
    v("feature", of.feature);
    v("shape", of.shape);
    v("reworded_to", of.reworded_to);
    v("only_old", of.only_old);
    v("only_new", of.only_new);
    v("other_numbers", of.other_numbers);
    v("boot", of.boot);
    v("elapsed_s", of.elapsed_s);
}

template <typename V>
void visit(column_difference& of, V& v) {
    v("column", of.column);
    v("cycles", of.cycles);
    v("before", of.before);
    v("after", of.after);
    v("boot", of.boot);
    v("elapsed_s", of.elapsed_s);
}

template <typename V>
void visit(first_divergence& of, V& v) {
    v("boot", of.boot);
    v("elapsed_s", of.elapsed_s);
    v("lines", of.lines);
}

template <typename V>
void visit(loop_difference& of, V& v) {
    v("has_run", of.has_run);
    v("is_same", of.is_same);
    v("decisions", of.decisions);
    v("quantities", of.quantities);
    v("effects", of.effects);
    v("columns", of.columns);
    v("first", of.first);
}

template <typename V>
void visit(input_difference& of, V& v) {
    v("input", of.input);
    v("error", of.error);
    v("skipped", of.skipped);
    v("is_scenario", of.is_scenario);
    v("seed", of.seed);
    v("open", of.open);
    v("closed", of.closed);
    v("figures", of.figures);
}

struct writer;
struct reader;
ordered_json written(auto& value);
void read(const ordered_json& from, auto& value);

struct writer {
    ordered_json& into;
    void operator()(const char* key, auto& value) { into[key] = written(value); }
};

struct reader {
    const ordered_json& from;
    void operator()(const char* key, auto& value) {
        if (from.contains(key)) read(from.at(key), value);
    }
};

template <typename T>
struct is_list : std::false_type {};
template <typename T>
struct is_list<std::vector<T>> : std::true_type {};
template <typename T>
struct is_optional : std::false_type {};
template <typename T>
struct is_optional<std::optional<T>> : std::true_type {};

ordered_json written(auto& value) {
    using T = std::remove_reference_t<decltype(value)>;
    if constexpr (std::is_enum_v<T>) {
        return names_of(value)[static_cast<std::size_t>(value)];
    } else if constexpr (is_list<T>::value) {
        ordered_json list = ordered_json::array();
        for (auto& each : value) list.push_back(written(each));
        return list;
    } else if constexpr (is_optional<T>::value) {
        return value ? written(*value) : ordered_json();
    } else if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, std::string>) {
        return value;
    } else {
        ordered_json object = ordered_json::object();
        writer all{object};
        visit(value, all);
        return object;
    }
}

void read(const ordered_json& from, auto& value) {
    using T = std::remove_reference_t<decltype(value)>;
    if constexpr (std::is_enum_v<T>) {
        const auto names = names_of(value);
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (names[i] == from.get<std::string>()) value = static_cast<T>(i);
        }
    } else if constexpr (is_list<T>::value) {
        for (const auto& each : from) read(each, value.emplace_back());
    } else if constexpr (is_optional<T>::value) {
        if (!from.is_null()) read(from, value.emplace());
    } else if constexpr (std::is_same_v<T, double>) {
        value = from.is_number() ? from.get<double>() : NAN;  // JSON has no word for it
    } else if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, std::string>) {
        from.get_to(value);
    } else {
        reader all{from};
        visit(value, all);
    }
}

}  // namespace

nlohmann::ordered_json json_of(const input_difference& of) {
    input_difference copy = of;  // the lists of keys are for both directions
    return written(copy);
}

input_difference input_difference_from(const ordered_json& from) {
    input_difference found;
    read(from, found);
    return found;
}

}  // namespace lab
