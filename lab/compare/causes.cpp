#include "lab/compare/causes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <string_view>

#include "lab/compare/quantities.h"
#include "lab/io/print.h"
#include "lab/io/text.h"

namespace lab {

namespace {

// What comes before what.
enum rank : std::size_t {
    ACTION_OF_ONE,
    ACTION_MOVED,
    ACTION_OTHERWISE,
    FINDING_OF_ONE,
    BIG_QUANTITY,
    OTHER_EFFECT,
    FINDING_MOVED,
    ROUTINE_OF_ONE,
    BIG_COLUMN,
    ROUTINE_MOVED,
    SMALL_QUANTITY,
    OTHER_NUMBERS,
    SMALL_COLUMN,
    WITHOUT_CLASS,
};

constexpr std::size_t LONGEST_WORDS = 90;
constexpr std::array<std::string_view, 4> KIND_WORDS{"log line", "record", "property", "write"};

// Of one kind, what the inputs have in common.
struct gathered {
    cause of;
    double least = 0, most = 0;  // of what is counted: seconds, a unit's amount
    std::string example;         // of numbers
    std::function<std::string(const gathered&)> tell;
};

// The sentence's beginning, which says what was done; why comes after it.
std::string headline(const std::string& sentence) {
    std::string text = sentence.substr(0, sentence.find(": "));
    if (text.size() > LONGEST_WORDS) text = text.substr(0, text.rfind(' ', LONGEST_WORDS)) + " ...";
    return on_one_line(text);
}

std::string range_text(unit in, double least, double most, bool is_signed) {
    const std::string from = amount_text(in, least, is_signed), to = amount_text(in, most, is_signed);
    return from == to ? from : from + " to " + to;
}

class gatherer {
  public:
    explicit gatherer(bool is_open, bool is_exact) : is_open_(is_open), is_exact_(is_exact) {}

    void add(const input_difference& input) {
        const loop_difference& loop = is_open_ ? input.open : input.closed;
        for (const auto& each : loop.decisions) add_decision(each, input.input);
        for (const auto& each : loop.quantities) add_quantity(each, input.input);
        for (const auto& each : loop.effects) add_effect(each, input.input);
        for (const auto& each : loop.columns) add_column(each, input.input);
    }

    std::vector<cause> all() {
        std::vector<cause> found;
        for (auto& [key, each] : kinds_) {
            each.of.what = each.tell(each);
            found.push_back(std::move(each.of));
        }
        std::stable_sort(found.begin(), found.end(), [](const cause& a, const cause& b) {
            if (a.rank != b.rank) return a.rank < b.rank;
            if (a.inputs.size() != b.inputs.size()) return a.inputs.size() > b.inputs.size();
            return a.count > b.count;
        });
        return found;
    }

  private:
    gathered& at(const std::string& key, std::string_view feature, std::size_t rank, const std::string& input,
                 double amount, std::int64_t count = 1) {
        const auto [entry, is_new] = kinds_.try_emplace(key);
        gathered& into = entry->second;
        if (is_new) {
            into.of.key = (is_open_ ? "open: " : "closed: ") + key;
            into.of.feature = feature;
            into.of.rank = rank;
            into.least = into.most = amount;
        }
        into.of.rank = std::min(into.of.rank, rank);
        into.least = std::min(into.least, amount);
        into.most = std::max(into.most, amount);
        into.of.count += count;
        if (into.of.inputs.empty() || into.of.inputs.back() != input) into.of.inputs.push_back(input);
        return into;
    }

    void add_decision(const decision_difference_of& of, const std::string& input);
    void add_quantity(const quantity_difference& of, const std::string& input);
    void add_effect(const effect_difference& of, const std::string& input);
    void add_column(const column_difference& of, const std::string& input);

    bool is_open_, is_exact_;
    std::map<std::string, gathered> kinds_;
};

std::size_t rank_of(const decision_difference_of& of) {
    const bool is_of_one = of.how == decision_change::only_old || of.how == decision_change::only_new;
    if (of.weight == importance::routine) return is_of_one ? ROUTINE_OF_ONE : ROUTINE_MOVED;
    if (of.weight == importance::finding) return is_of_one ? FINDING_OF_ONE : FINDING_MOVED;
    if (is_of_one) return ACTION_OF_ONE;
    return of.how == decision_change::other_value ? ACTION_OTHERWISE : ACTION_MOVED;
}

void gatherer::add_decision(const decision_difference_of& of, const std::string& input) {
    constexpr std::array<std::string_view, 5> WORDS{"only the old", "only the new", "later", "earlier",
                                                    "otherwise"};
    const std::string_view word = WORDS[static_cast<std::size_t>(of.how)];
    const std::string key = "decision " + std::string(word) + ": " + of.feature + ": " + of.shape;
    gathered& into = at(key, of.feature, rank_of(of), input, std::abs(of.by_s));
    if (into.tell) return;
    into.example = of.values;
    const std::string& sentence = of.before.empty() ? of.after : of.before;
    const bool is_of_one = of.how == decision_change::only_old || of.how == decision_change::only_new;
    into.tell = [headline = headline(sentence), how = of.how, is_of_one](const gathered& all) {
        std::string text = headline;
        if (is_of_one) text = (how == decision_change::only_old ? "only in old: " : "only in new: ") + text;
        if (how == decision_change::later || how == decision_change::earlier) {
            text += how == decision_change::later ? ", later by " : ", earlier by ";
            text += range_text(unit::seconds, all.least, all.most, false);
        }
        if (!all.example.empty()) text += " (" + on_one_line(all.example.substr(0, LONGEST_WORDS)) + ")";
        return text;
    };
}

void gatherer::add_quantity(const quantity_difference& of, const std::string& input) {
    const quantity* const found = find_quantity(of.key);
    if (found == nullptr) return;
    const difference_class how = class_of(found->in, of.before, of.after);
    const bool is_big =
        how == difference_class::big && found->whose != COST;  // what it costs follows from the rest
    const std::size_t rank = is_big                          ? BIG_QUANTITY
                             : how == difference_class::none ? WITHOUT_CLASS
                                                             : SMALL_QUANTITY;
    const double by = of.after - of.before;
    const bool is_new = !kinds_.contains("figure: " + of.key);
    gathered& into = at("figure: " + of.key, found->whose, rank, input, by);
    into.of.how = is_new ? how : std::max(into.of.how, how);
    into.tell = [meaning = *found](const gathered& all) {
        return std::string(meaning.name) + " " + range_text(meaning.in, all.least, all.most, true);
    };
}

void gatherer::add_effect(const effect_difference& of, const std::string& input) {
    const std::string kind(KIND_WORDS[static_cast<std::size_t>(of.kind)]);
    const bool has_numbers_only = of.only_old + of.only_new == 0;
    const std::string name = on_one_line(of.shape.substr(0, LONGEST_WORDS));
    const std::int64_t count = std::max(of.only_old, of.only_new) + of.other_numbers;
    const char* const word = of.how == effect_change::reworded ? "reworded"
                             : has_numbers_only                ? "numbers"
                                                               : "unlike";
    const std::string key = std::string("effect ") + word + ": " + kind + ": " + of.shape;
    gathered& into = at(key, of.feature, has_numbers_only ? OTHER_NUMBERS : OTHER_EFFECT, input, 0, count);
    if (of.how == effect_change::reworded) {
        into.tell = [kind, name,
                     to = on_one_line(of.reworded_to.substr(0, LONGEST_WORDS))](const gathered& all) {
            return text_of("%s in other words, %s: \"%s\" is \"%s\"", kind.c_str(),
                           counted(static_cast<std::uint64_t>(all.of.count), "time").c_str(), name.c_str(),
                           to.c_str());
        };
        return;
    }
    const std::string where = of.only_old > 0 && of.only_new > 0 ? "at other moments"
                              : of.only_old > 0                  ? "only in old"
                              : of.only_new > 0                  ? "only in new"
                                                                 : "with other numbers";
    if (into.example.empty()) into.example = where;
    if (into.example != where) into.example = "at other moments";
    into.tell = [kind, name](const gathered& all) {
        return text_of("%s %s, %lld times: %s", kind.c_str(), all.example.c_str(),
                       static_cast<long long>(all.of.count), name.c_str());
    };
}

void gatherer::add_column(const column_difference& of, const std::string& input) {
    std::size_t place = 0;
    while (place <= COLUMN_COUNT && column_name(place) != of.column) ++place;
    const bool is_known = place <= COLUMN_COUNT;
    const unit in = is_known ? column_meanings()[place].in : unit::count;
    const std::string_view feature = is_known ? name_of(column_meanings()[place].whose) : "core";
    const difference_class how = class_of(in, of.before, of.after);
    if (how == difference_class::none && !is_exact_) return;
    const bool is_big = how == difference_class::big || !is_known;
    gathered& into = at("state: " + of.column, feature, is_big ? BIG_COLUMN : SMALL_COLUMN, input,
                        std::abs(of.after - of.before), of.cycles);
    into.of.how = is_big ? difference_class::big : how;
    into.tell = [in, name = of.column, is_known](const gathered& all) {
        const auto cycles = static_cast<long long>(all.of.count);
        if (!is_known) return text_of("%lld cycles in one of the builds only", cycles);
        return text_of("%s differs by up to %s, in %lld cycles", name.c_str(),
                       amount_text(in, all.most).c_str(), cycles);
    };
}

}  // namespace

std::vector<cause> causes_of(const std::vector<input_difference>& all, bool is_open, bool is_exact) {
    gatherer kinds(is_open, is_exact);
    for (const input_difference& each : all) kinds.add(each);
    return kinds.all();
}

}  // namespace lab
