#include "lab/fleet/fleet_summary.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>

#include "lab/io/print.h"

namespace lab {

namespace {

constexpr double DAY_S = 86400;
constexpr double YEAR_DAYS = 365;
constexpr std::array QUANTILES{0.05, 0.25, 0.5, 0.75, 0.95};
constexpr std::size_t MOST_UNUSUAL = 10;
constexpr std::size_t KEY_COUNT_LEAST = 8;  // phones with a key, to say anything of it

std::optional<double> number_in(const std::string& text) {
    double value = 0;
    const auto [end, wrong] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool is_number = !text.empty() && wrong == std::errc() && end == text.data() + text.size();
    return is_number ? std::optional(value) : std::nullopt;
}

// What makes a phone unusual: figures with how far from the others they are.
constexpr std::array UNUSUAL_BY{figure::stress_h,           figure::high_h,       figure::capacity_left_pct,
                                figure::timer_expiries,     figure::mean_temp_c,  figure::thermal_stopped_h,
                                figure::estimate_error_pct, figure::flash_writes, figure::boots};

class summary_maker {
  public:
    summary_maker(results& from, const population& of) : from_(from), of_(of) {}

    fleet_summary make() {
        result_.title = of_.title;
        result_.span_days = static_cast<double>(of_.span_s) / DAY_S;
        const std::size_t moments = moments_in(of_.span_s);
        for (std::size_t i = 1; i <= moments; ++i)
            result_.days.push_back(result_.span_days * static_cast<double>(i) / static_cast<double>(moments));
        stress_.resize(moments);
        capacity_.resize(moments);
        from_.each([this](const phone_row& row) { take(row); });
        finish();
        return result_;
    }

  private:
    struct kept_row {
        std::uint64_t number;
        std::string kinds;
        phone_status status;
        std::string error;
        double weight;
        std::array<std::optional<double>, UNUSUAL_BY.size()> figures;
    };
    struct kind {
        std::vector<life> lives;
    };

    life life_of(const phone_row& row) {
        const auto trip = row[figure::first_trip_day];
        const double end = row[figure::end_day].value_or(0);
        if (trip) return {*trip, life_end::event, row.weight};
        if (row.status != phone_status::ok) return {end, life_end::other, row.weight};
        const double tolerance = std::min(1.0, result_.span_days / 100);  // the last cycle may be a while ago
        const bool left = end < result_.span_days - tolerance;
        result_.has_departures = result_.has_departures || left;
        return {left ? end : result_.span_days, life_end::censored, row.weight};
    }

    void take(const phone_row& row) {
        result_.phones += 1;
        result_.by_status[static_cast<std::size_t>(row.status)] += 1;
        weights_.push_back({row[figure::first_trip_day] ? 1.0 : 0.0, row.weight});
        const life lived = life_of(row);
        kinds_[{"", ""}].lives.push_back(lived);
        std::string names;
        for (std::size_t i = 0; i < row.options.size(); ++i) {
            kinds_[{from_.group_columns()[i], row.options[i]}].lives.push_back(lived);
            names += (i > 0 ? ", " : "") + row.options[i];
        }
        for (std::size_t i = 0; i < std::min(row.moments.size(), stress_.size()); ++i) {
            stress_[i].push_back({row.moments[i].stress_h, row.weight});
            capacity_[i].push_back({row.moments[i].capacity_left_pct, row.weight});
        }
        if (const auto table = parse_stress_table(row.histogram)) {
            for (std::size_t v = 0; v < hours_.size(); ++v) {
                for (std::size_t t = 0; t < hours_[v].size(); ++t)
                    hours_[v][t] += row.weight * static_cast<double>((*table)[v][t]);
            }
        }
        take_stops(row);
        keys_.push_back(row.drawn);
        lives_.push_back(lived);
        end_stress_.push_back(row[figure::stress_h].value_or(NAN));
        kept_row kept{row.number, names, row.status, row.error, row.weight, {}};
        for (std::size_t i = 0; i < UNUSUAL_BY.size(); ++i) kept.figures[i] = row[UNUSUAL_BY[i]];
        rows_.push_back(kept);
    }

    void take_stops(const phone_row& row) {
        const double years = row[figure::end_day].value_or(0) / YEAR_DAYS;
        const auto add = [&](std::size_t which, figure count, std::optional<double> hours) {
            const bool has = row[count].value_or(0) > 0;
            stops_[which].push_back({has ? 1.0 : 0.0, row.weight});
            if (has && years > 0 && hours) stop_hours_[which].push_back({*hours / years, row.weight});
        };
        add(0, figure::timer_expiries, row[figure::timer_stopped_h]);
        add(1, figure::thermal_stops, row[figure::thermal_stopped_h]);
        add(2, figure::precharge_stops, std::nullopt);
    }

    void finish() {
        result_.effective = effective_number(weights_);
        result_.lowered = share_of(weights_);
        for (auto& [key, each] : kinds_)
            result_.curves.push_back({key.first, key.second, survival_curve(each.lives, result_.days),
                                      static_cast<std::uint64_t>(each.lives.size())});
        for (std::size_t i = 0; i < result_.days.size(); ++i) {
            result_.stress.push_back(band_of(result_.days[i], stress_[i]));
            result_.capacity.push_back(band_of(result_.days[i], capacity_[i]));
        }
        double weight = 0;
        for (const weighted& each : weights_) weight += each.weight;
        for (std::size_t v = 0; v < hours_.size(); ++v) {
            for (std::size_t t = 0; t < hours_[v].size(); ++t)
                result_.hours[v][t] = weight > 0 ? static_cast<float>(hours_[v][t] / weight) : 0;
        }
        constexpr std::array<const char*, 3> NAMES{"charge timer", "secondary thermal", "precharge"};
        for (std::size_t i = 0; i < NAMES.size(); ++i)
            result_.causes.push_back({NAMES[i], share_of(stops_[i]), mean_of(stop_hours_[i]).value});
        find_influences();
        find_unusual();
    }

    static band_point band_of(double day, const std::vector<weighted>& values) {
        band_point made{day, {}};
        for (std::size_t i = 0; i < QUANTILES.size(); ++i)
            made.at[i] = quantile_of(values, QUANTILES[i]).value_or(NAN);
        return made;
    }

    // Phones without a trip come after all others, in one rank.
    void find_influences() {
        const std::vector<std::string> names = from_.drawn_columns();
        for (std::size_t key = 0; key < names.size(); ++key) {
            std::vector<double> values, times, stress, weights;
            for (std::size_t i = 0; i < keys_.size(); ++i) {
                const auto value = number_in(keys_[i][key]);
                if (!value || std::isnan(end_stress_[i])) continue;
                values.push_back(*value);
                times.push_back(lives_[i].end == life_end::event ? lives_[i].time : result_.span_days * 2);
                stress.push_back(end_stress_[i]);
                weights.push_back(lives_[i].weight);
            }
            if (values.size() < KEY_COUNT_LEAST) continue;
            result_.influences.push_back({names[key], rank_correlation(values, times, weights),
                                          rank_correlation(values, stress, weights)});
        }
        std::ranges::stable_sort(result_.influences, std::greater{}, [](const key_influence& each) {
            return std::max(std::abs(each.rank.value_or(0)), std::abs(each.stress.value_or(0)));
        });
    }

    // How far each figure is from the middle phone, in standard deviations as the quartiles give them.
    void find_unusual() {
        std::vector<std::pair<double, unusual_phone>> found;
        std::array<double, UNUSUAL_BY.size()> middle{}, width{};
        for (std::size_t f = 0; f < UNUSUAL_BY.size(); ++f) {
            std::vector<weighted> values;
            for (const kept_row& row : rows_) {
                if (row.figures[f]) values.push_back({*row.figures[f], row.weight});
            }
            constexpr double IQR_OF_NORMAL = 1.349;
            middle[f] = quantile_of(values, 0.5).value_or(0);
            width[f] = (quantile_of(values, 0.75).value_or(0) - quantile_of(values, 0.25).value_or(0)) /
                       IQR_OF_NORMAL;
        }
        for (const kept_row& row : rows_) {
            double most = 0;
            std::string why;
            for (std::size_t f = 0; f < UNUSUAL_BY.size(); ++f) {
                if (!row.figures[f]) continue;
                // Where three quarters of the phones are alike, any other one is as far off as its value.
                const double scale = width[f] > 0 ? width[f] : std::max(1.0, std::abs(middle[f]));
                const double far = std::abs(*row.figures[f] - middle[f]) / scale;
                if (far <= most) continue;
                most = far;
                constexpr double LARGE = 1000;
                const bool is_large = std::max(std::abs(*row.figures[f]), std::abs(middle[f])) >= LARGE;
                why =
                    text_of(is_large ? "%s %.0f, the middle phone %.0f" : "%s %.4g, the middle phone %.4g",
                            std::string(phone_figures[static_cast<std::size_t>(UNUSUAL_BY[f])].name).c_str(),
                            *row.figures[f], middle[f]);
            }
            if (row.status != phone_status::ok) {
                most = HUGE_VAL;
                why =
                    std::string(phone_status_names[static_cast<std::size_t>(row.status)]) + ": " + row.error;
            }
            found.push_back({most, {row.number, row.kinds, why}});
        }
        std::ranges::stable_sort(found, std::greater{}, [](const auto& each) { return each.first; });
        for (std::size_t i = 0; i < std::min(MOST_UNUSUAL, found.size()); ++i)
            result_.unusual.push_back(found[i].second);
    }

    results& from_;
    const population& of_;
    fleet_summary result_;
    std::map<std::pair<std::string, std::string>, kind> kinds_;
    std::vector<weighted> weights_;
    std::vector<std::vector<weighted>> stress_, capacity_;
    std::array<std::array<double, TEMP_BANDS>, VOLT_BANDS> hours_{};
    std::array<std::vector<weighted>, 3> stops_, stop_hours_;
    std::vector<std::vector<std::string>> keys_;
    std::vector<life> lives_;
    std::vector<double> end_stress_;
    std::vector<kept_row> rows_;
};

}  // namespace

fleet_summary summarise_fleet(results& from, const population& of) {
    return summary_maker(from, of).make();
}

}  // namespace lab
