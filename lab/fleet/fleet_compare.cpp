#include "lab/fleet/fleet_compare.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "lab/io/error.h"
#include "lab/io/print.h"
#include "lab/report/provenance.h"

namespace lab {

namespace {

// In the order of the table; what counts what it cost comes last.
constexpr std::array COMPARED{figure::step,
                              figure::stress_h,
                              figure::high_h,
                              figure::capacity_left_pct,
                              figure::resistance_pct,
                              figure::timer_expiries,
                              figure::thermal_stopped_h,
                              figure::pulldown_share_pct,
                              figure::estimate_error_pct,
                              figure::shown_error_pct,
                              figure::flash_writes};

// Pairs of one figure, each phone with its weight.
struct pairs {
    std::vector<weighted> first, second, difference;

    void add(double one, double other, double weight) {
        first.push_back({one, weight});
        second.push_back({other, weight});
        difference.push_back({other - one, weight});
    }

    figure_difference figure_of(std::string name) const {
        const mean_value one = mean_of(first), other = mean_of(second), both = mean_of(difference);
        figure_difference made{std::move(name),
                               one.value,
                               other.value,
                               both.value,
                               {},
                               both.variance,
                               one.variance + other.variance};
        made.within = {both.value - both.half_width, both.value + both.half_width};
        return made;
    }
};

bool is_lowered(const phone_row& row) {
    return row[figure::first_trip_day].has_value();
}

// The plain interval of a mean says nothing where no phone, or every one, turns round.
figure_difference share_of_pairs(const pairs& of) {
    figure_difference made = of.figure_of("lowered");
    double only_first = 0, only_second = 0, weight = 0;
    for (const weighted& each : of.difference) {
        weight += each.weight;
        (each.value < 0 ? only_first : only_second) += each.value != 0 ? each.weight : 0;
    }
    made.within =
        paired_difference(only_first / weight, only_second / weight, effective_number(of.difference)).within;
    return made;
}

void require_same_phones(results& first, results& second) {
    if (first.group_columns() != second.group_columns())
        throw input_error(second.file().file() + ": other groups than " + first.file().file() +
                          "; phones can be compared one by one only within the same");
}

class comparer {
  public:
    comparer(results& first, results& second) : first_(first), second_(second) {}

    fleet_comparison compare() {
        const std::vector<std::uint64_t> others = second_.numbers();
        std::size_t found = 0;
        first_.each([&](const phone_row& one) {
            if (!std::ranges::binary_search(others, one.number)) {
                result_.left_out += 1;
                return;
            }
            found += 1;
            take(one, second_.row(one.number));
        });
        result_.left_out += others.size() - found;
        if (result_.phones == 0) throw input_error("no phone ended well in both fleets");
        result_.lowered = share_of_pairs(lowered_);
        result_.effective = effective_number(lowered_.difference);
        for (std::size_t i = 0; i < COMPARED.size(); ++i) {
            const auto name = phone_figures[static_cast<std::size_t>(COMPARED[i])].name;
            if (!figures_[i].first.empty())
                result_.figures.push_back(figures_[i].figure_of(std::string(name)));
        }
        return result_;
    }

  private:
    void take(const phone_row& one, const phone_row& other) {
        if (one.options != other.options)
            throw input_error(second_.file().file() + ": its phone " + std::to_string(one.number) +
                              " is another one: the fleets differ in their seed or in a group's shares");
        if (one.status != phone_status::ok || other.status != phone_status::ok) {
            result_.left_out += 1;
            return;
        }
        result_.phones += 1;
        result_.unequal += one.events_digest == other.events_digest ? 0 : 1;
        note_keys(one, other);
        lowered_.add(is_lowered(one) ? 1 : 0, is_lowered(other) ? 1 : 0, one.weight);
        for (std::size_t i = 0; i < COMPARED.size(); ++i) {
            if (one[COMPARED[i]] && other[COMPARED[i]])
                figures_[i].add(*one[COMPARED[i]], *other[COMPARED[i]], one.weight);
        }
    }

    void note_keys(const phone_row& one, const phone_row& other) {
        const std::vector<std::string> names = first_.drawn_columns(), others = second_.drawn_columns();
        for (std::size_t i = 0; i < names.size(); ++i) {
            const auto at = std::ranges::find(others, names[i]);
            const bool is_same = at != others.end() &&
                                 other.drawn[static_cast<std::size_t>(at - others.begin())] == one.drawn[i];
            const bool is_known = std::ranges::find(result_.varied, names[i]) != result_.varied.end();
            if (!is_same && !is_known) result_.varied.push_back(names[i]);
        }
    }

    results& first_;
    results& second_;
    fleet_comparison result_;
    pairs lowered_;
    std::array<pairs, COMPARED.size()> figures_;
};

std::string worth_text(const figure_difference& of) {
    return of.paired_variance > 0 ? text_of("%9.3gx", of.worth_of_pairing()) : std::string("         -");
}

}  // namespace

fleet_comparison compare_fleets(results& first, results& second) {
    require_same_phones(first, second);
    return comparer(first, second).compare();
}

std::string comparison_text(const fleet_comparison& of, const std::string& first, const std::string& second) {
    constexpr double PCT = 100;
    std::string out;
    print(out, "%llu phones in both, which tell as much as %.0f of equal weight; %llu differ",
          static_cast<unsigned long long>(of.phones), of.effective,
          static_cast<unsigned long long>(of.unequal));
    if (of.left_out > 0)
        print(out, "; %llu left out, not in both or not ended well",
              static_cast<unsigned long long>(of.left_out));
    out += '\n';
    for (const std::string& each : of.varied) out += "drawn otherwise: " + each + '\n';
    out += "A " + first + "\nB " + second + "\n\n";
    print(out, "%-22s %12s %12s %12s %27s %10s\n", "", "A", "B", "B - A", "95 % interval", "pairing");
    print(out, "%-22s %10.1f %% %10.1f %% %10.1f %% %12.1f to %8.1f %% %s\n", "share lowered",
          PCT * of.lowered.first, PCT * of.lowered.second, PCT * of.lowered.difference,
          PCT * of.lowered.within.low, PCT * of.lowered.within.high, worth_text(of.lowered).c_str());
    for (const figure_difference& each : of.figures)
        print(out, "%-22s %12.5g %12.5g %12.4g %12.4g to %11.4g %s\n", each.name.c_str(), each.first,
              each.second, each.difference, each.within.low, each.within.high, worth_text(each).c_str());
    out += "\npairing: so many times as many phones would be needed if they were others in A and B\n";
    return out;
}

std::string comparison_json(const fleet_comparison& of) {
    const auto json_of_figure = [](const figure_difference& each) {
        return nlohmann::ordered_json{{"name", each.name},
                                      {"a", each.first},
                                      {"b", each.second},
                                      {"difference", each.difference},
                                      {"low", each.within.low},
                                      {"high", each.within.high},
                                      {"paired_variance", each.paired_variance},
                                      {"unpaired_variance", each.unpaired_variance},
                                      {"worth_of_pairing", each.worth_of_pairing()}};
    };
    nlohmann::ordered_json all = document_head("vorn-lab/fleet-comparison/1");
    all.update({{"phones", of.phones},
                {"effective", of.effective},
                {"left_out", of.left_out},
                {"unequal", of.unequal},
                {"varied", of.varied}});
    all["figures"] = nlohmann::ordered_json::array({json_of_figure(of.lowered)});
    for (const figure_difference& each : of.figures) all["figures"].push_back(json_of_figure(each));
    return all.dump(1) + "\n";
}

}  // namespace lab
