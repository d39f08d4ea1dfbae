#include "lab/fleet/look.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <optional>

#include "lab/fleet/statistics.h"
#include "lab/io/print.h"
#include "lab/io/time_text.h"

namespace lab {

namespace {

constexpr double QUANTILES[] = {0.05, 0.25, 0.5, 0.75, 0.95};
constexpr double PCT = 100;

std::optional<double> number_in(const std::string& text) {
    double value = 0;
    const auto [end, wrong] = std::from_chars(text.data(), text.data() + text.size(), value);
    return wrong == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

// Where its distribution is from, in the words of the file; of the first group that draws it.
std::string source_of(const population& of, const std::string& path) {
    const auto find = [&path](const std::vector<population_key>& keys) -> const population_key* {
        const auto found = std::ranges::find_if(keys, [&](const population_key& each) {
            return each.path() == path && each.draw.kind != draw_kind::constant;
        });
        return found == keys.end() ? nullptr : &*found;
    };
    const population_key* key = find(of.keys);
    for (const population_group& group : of.groups) {
        for (const population_option& option : group.options) key = key == nullptr ? find(option.keys) : key;
    }
    return key == nullptr || key->draw.source.empty() ? "no source" : key->draw.source;
}

void print_groups(std::string& out, const population& of, const std::vector<phone_plan>& phones) {
    for (std::size_t g = 0; g < of.groups.size(); ++g) {
        print(out, "\n%-28s %9s %9s %9s\n", of.groups[g].name.c_str(), "of phones", "drawn", "weight");
        for (std::size_t o = 0; o < of.groups[g].options.size(); ++o) {
            const population_option& option = of.groups[g].options[o];
            const auto count =
                std::ranges::count_if(phones, [&](const phone_plan& each) { return each.options[g] == o; });
            print(out, "  %-26s %7.1f %% %9lld %9.3g\n", option.name.c_str(), option.share_pct,
                  static_cast<long long>(count), option.weight);
        }
    }
}

void print_values(std::string& out, const std::string& path, const std::vector<phone_plan>& phones) {
    std::map<std::string, double> counts;
    std::vector<weighted> numbers;
    double whole = 0;
    for (const phone_plan& each : phones) {
        const std::string text = each.text_of(path);
        if (text.empty()) continue;
        counts[text] += each.weight;
        whole += each.weight;
        if (const auto number = number_in(text)) numbers.push_back({*number, each.weight});
    }
    print(out, "  %-26s", path.c_str());
    if (numbers.empty()) {
        for (const auto& [text, weight] : counts)
            print(out, " %s %.0f %%", text.c_str(), PCT * weight / whole);
    } else {
        for (const double at : QUANTILES) print(out, " %9.5g", quantile_of(numbers, at).value_or(0));
    }
}

void print_correlations(std::string& out, const population& of, const std::vector<phone_plan>& phones) {
    if (of.correlated.empty()) return;
    out += "\nrank correlations\n";
    const auto values_of = [&](const std::string& path) {
        std::vector<double> values;
        for (const phone_plan& each : phones) values.push_back(number_in(each.text_of(path)).value_or(NAN));
        return values;
    };
    for (std::size_t i = 1; i < of.correlated.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            const std::vector<double> all_one = values_of(of.correlated[j]);
            const std::vector<double> all_other = values_of(of.correlated[i]);
            std::vector<double> one, other, weights;
            for (std::size_t k = 0; k < phones.size(); ++k) {
                if (std::isnan(all_one[k]) || std::isnan(all_other[k])) continue;
                one.push_back(all_one[k]);
                other.push_back(all_other[k]);
                weights.push_back(phones[k].weight);
            }
            const auto rank = rank_correlation(one, other, weights);
            print(out, "  %-26s %-26s %6s\n", of.correlated[j].c_str(), of.correlated[i].c_str(),
                  rank ? text_of("%.2f", *rank).c_str() : "none");
        }
    }
}

}  // namespace

std::string look_at(const population& of, std::uint64_t phones) {
    std::vector<phone_plan> plans;
    std::vector<weighted> weights;
    for (std::uint64_t i = 0; i < phones; ++i) {
        plans.push_back(plan_phone(of, i));
        weights.push_back({0, plans.back().weight});
    }
    std::string out;
    print(out, "%s: %llu phones for %s, seed %llu\n", of.title.c_str(),
          static_cast<unsigned long long>(of.phones), duration_text(of.span_s).c_str(),
          static_cast<unsigned long long>(of.seed));
    print(out, "looked at phones 0 to %llu, which tell as much as %.0f of equal weight\n",
          static_cast<unsigned long long>(phones - 1), effective_number(weights));
    print_groups(out, of, plans);
    print(out, "\n%-28s %9s %9s %9s %9s %9s\n", "key", "5 %", "25 %", "median", "75 %", "95 %");
    for (const std::string& path : of.drawn_paths()) {
        print_values(out, path, plans);
        out += "  " + source_of(of, path) + "\n";
    }
    print_correlations(out, of, plans);
    return out;
}

}  // namespace lab
