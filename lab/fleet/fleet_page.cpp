#include "lab/fleet/fleet_page.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "lab/fleet/svg_chart.h"
#include "lab/io/print.h"
#include "lab/io/text.h"

namespace lab {

namespace {

constexpr double PCT = 100;
constexpr double YEAR_DAYS = 365;
constexpr std::size_t COLOURS = 6;

constexpr std::string_view STYLE = R"(
:root { color-scheme: light dark; --page: #f4f5f7; --card: #fff; --text: #1b2430; --muted: #566270; --line: #dfe3e9;
  --c0: #2460c0; --c1: #b9540a; --c2: #0d7568; --c3: #ab2f52; --c4: #6a40bf; --c5: #2c7a31; --heat: 194 65 12; }
@media (prefers-color-scheme: dark) { :root { --page: #0f1318; --card: #171c23; --text: #e4e9ef; --muted: #98a4b3;
  --line: #2a323d; --c0: #7db0ff; --c1: #ffab5e; --c2: #52cdb6; --c3: #ff8fae; --c4: #bda1ff; --c5: #83d68a;
  --heat: 240 119 47; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--text); font: 14px/1.5 system-ui, sans-serif;
  font-variant-numeric: tabular-nums; }
header, main, footer { max-width: 1320px; margin: 0 auto; padding: 16px 20px; }
h1 { font-size: 22px; margin: 0; overflow-wrap: anywhere; } h2 { font-size: 15px; margin: 0 0 6px; } p { margin: 4px 0; }
main { display: grid; gap: 14px; grid-template-columns: repeat(2, minmax(0, 1fr)); padding-top: 0; }
section { background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 14px 16px; min-width: 0; }
.wide { grid-column: 1 / -1; } .muted { color: var(--muted); font-weight: 400; } .scroll { overflow-x: auto; }
.tiles { display: grid; gap: 10px 24px; grid-template-columns: repeat(auto-fit, minmax(150px, 1fr)); }
.tiles b { display: block; font-size: 20px; }
.beside { display: grid; gap: 6px 24px; grid-template-columns: minmax(0, 500px) minmax(0, 1fr); }
table { border-collapse: collapse; width: 100%; } th, td { text-align: left; padding: 3px 10px 3px 0; vertical-align: top;
  border-top: 1px solid var(--line); } th { font-weight: 600; } th.n, .n { text-align: right; } td .muted { font-size: 12px; }
code { font: 12px/1.5 ui-monospace, monospace; overflow-wrap: anywhere; }
svg { display: block; width: 100%; max-width: 500px; height: auto; } svg text { font-size: 11px; fill: var(--muted); }
.grid { stroke: var(--line); fill: none; } .line { fill: none; stroke: var(--c); stroke-width: 2; stroke-dasharray: var(--dash); }
.band { opacity: .13; stroke: none; fill: var(--c); }
.c0, .c3 { --dash: none; --border: solid; } .c1, .c4 { --dash: 8 4; --border: dashed; } .c2, .c5 { --dash: 2 3; --border: dotted; }
.c0 { --c: var(--c0); } .c1 { --c: var(--c1); } .c2 { --c: var(--c2); } .c3 { --c: var(--c3); } .c4 { --c: var(--c4); }
.c5 { --c: var(--c5); }
.key::before { content: ""; display: inline-block; width: 20px; margin-right: 6px; vertical-align: middle;
  border-top: 3px var(--border) var(--c); }
.heat td, .heat th { text-align: right; padding: 3px 6px; font-size: 12px; white-space: nowrap; }
.heat th:first-child { position: sticky; left: 0; background: var(--card); }
@media (max-width: 1000px) { .beside { grid-template-columns: minmax(0, 1fr); } }
@media (max-width: 800px) { main { grid-template-columns: minmax(0, 1fr); } }
@media (max-width: 600px) { svg text { font-size: 15px; } header, main, footer { padding-inline: 10px; }
  .stack tr, .stack td { display: block; padding: 3px 0; } .stack td { border: 0; text-align: left; } .stack tr:first-child { display: none; }
  .stack th { display: block; } .stack td[data-at]::before { content: attr(data-at) ": "; } .stack td br { display: none; } }
@media print { body { background: none; } section { break-inside: avoid; } }
)";

// "12 % (9 to 16)", of none "0 % (at most 1)".
std::string share_text(const share& of) {
    const auto pct = [](double share) { return text_of(PCT * share < 9.95 ? "%.2g" : "%.0f", PCT * share); };
    if (of.value <= 0) return "0 % (at most " + pct(of.within.high) + ")";
    return pct(of.value) + " % (" + pct(of.within.low) + " to " + pct(of.within.high) + ")";
}

std::string section(const std::string& title, const std::string& body, bool is_wide = false) {
    return std::string(is_wide ? "<section class=\"wide\">" : "<section>") + "<h2>" + html_text(title) +
           "</h2>\n" + body + "</section>\n";
}

// The axis of time: years, or days of a span that is shorter.
struct time_unit {
    double days;
    const char* name;
};
time_unit unit_of(const fleet_summary& of) {
    return of.span_days >= YEAR_DAYS ? time_unit{YEAR_DAYS, " y"} : time_unit{1, " d"};
}

share lowered_by(const curve_point& at) {
    return {1 - at.left.value, {1 - at.left.within.high, 1 - at.left.within.low}, at.left.number};
}

std::string colour_of(std::size_t i) {
    return "c" + std::to_string(i % COLOURS);
}

// Places of the curve that its table shows, four at most: the end and whole years before it, or quarters of a short span.
std::vector<std::size_t> ticks_of(const fleet_summary& of) {
    std::vector<std::size_t> ticks;
    const std::size_t count = of.days.size();
    constexpr std::size_t MOST = 4, A_YEAR = 12;
    const bool is_long = of.span_days >= 2 * YEAR_DAYS - 1;
    const std::size_t step =
        is_long ? (count / A_YEAR + MOST - 1) / MOST * A_YEAR : std::max<std::size_t>(1, count / MOST);
    for (std::size_t past = count; past > 0; past -= std::min(past, step))
        ticks.insert(ticks.begin(), past - 1);
    return ticks;
}

std::string curve_table(const fleet_summary& of, const std::vector<const kind_curve*>& curves) {
    std::string out = "<table class=\"stack\"><tr><td></td>";
    for (const std::size_t tick : ticks_of(of))
        print(out, "<th scope=\"col\" class=\"n\">day %.4g</th>", of.days[tick]);
    out += "</tr>";
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const kind_curve& each = *curves[i];
        print(out,
              "<tr><th scope=\"row\"><span class=\"key %s\">%s</span> <span class=\"muted\">%llu "
              "phones</span></th>",
              colour_of(i).c_str(), html_text(each.kind.empty() ? "all phones" : each.kind).c_str(),
              static_cast<unsigned long long>(each.phones));
        for (const std::size_t tick : ticks_of(of)) {
            const curve_point& at = each.curve[tick];
            print(out,
                  "<td class=\"n\" data-at=\"Day %.4g\">%s<br> <span class=\"muted\">%lld at risk, %lld "
                  "lowered, %lld left",
                  of.days[tick], share_text(lowered_by(at)).c_str(), static_cast<long long>(at.at_risk),
                  static_cast<long long>(at.events), static_cast<long long>(at.censored));
            if (at.others > 0) print(out, ", %lld not ok", static_cast<long long>(at.others));
            out += "</span></td>";
        }
        out += "</tr>";
    }
    return out + "</table>";
}

std::string curve_section(const fleet_summary& of, const std::string& group) {
    constexpr std::size_t MOST_BANDS = 3;  // more of them hide each other
    std::vector<const kind_curve*> curves;
    double lowest = 1;
    for (const kind_curve& each : of.curves) {
        if (each.group != group) continue;
        curves.push_back(&each);
        for (const curve_point& at : each.curve) lowest = std::min(lowest, at.left.within.low);
    }
    const std::string by = group.empty() ? "" : " by " + group;
    const time_unit time = unit_of(of);
    svg_chart chart("Share of phones not yet lowered over time" + by, of.span_days / time.days,
                    std::floor(lowest * 10) * 10, PCT);
    chart.draw_axes(time.name, " %");
    for (std::size_t i = 0; i < curves.size(); ++i) {
        svg_chart::points left{{0, PCT}}, low{{0, PCT}}, high{{0, PCT}};
        for (const curve_point& at : curves[i]->curve) {
            const double x = at.time / time.days;
            left.emplace_back(x, PCT * at.left.value);
            low.emplace_back(x, PCT * at.left.within.low);
            high.emplace_back(x, PCT * at.left.within.high);
        }
        if (curves.size() <= MOST_BANDS) chart.band(low, high, colour_of(i));
        chart.line(left, colour_of(i), curves[i]->kind.empty() ? "all phones" : curves[i]->kind, true);
    }
    const std::string note = of.has_departures
                                 ? "Some phones were watched for less than the span: by Kaplan and Meier."
                                 : "All phones were watched for the whole span, so this is the plain share "
                                   "(Kaplan and Meier give the same).";
    return section("Not yet lowered" + by,
                   "<div class=\"beside\"><div>" + chart.text() + "</div><div>" + curve_table(of, curves) +
                       "<p class=\"muted\">The share lowered by that day, with its 95 % interval" +
                       (curves.size() <= MOST_BANDS ? ", which the bands show. " : ". ") + note +
                       "</p></div></div>",
                   true);
}

std::string band_section(const fleet_summary& of, const std::string& title,
                         const std::vector<band_point>& band, const std::string& unit, double least,
                         double most) {
    const time_unit time = unit_of(of);
    svg_chart chart(title + " over time", of.span_days / time.days, least, most);
    chart.draw_axes(time.name, unit);
    const auto at = [&](std::size_t which) {
        svg_chart::points points;
        for (const band_point& each : band) {
            if (!std::isnan(each.at[which])) points.emplace_back(each.day / time.days, each.at[which]);
        }
        return points;
    };
    chart.band(at(0), at(4), "c0");
    chart.band(at(1), at(3), "c0");
    chart.line(at(2), "c0", "middle phone");
    std::string body = chart.text() + "<p class=\"muted\">Of 100 phones 5, 25, 50, 75 and 95 are below.";
    if (!band.empty()) {
        body += " At the end:";
        for (const double each : band.back().at) body += text_of(each < 1000 ? " %.4g," : " %.0f,", each);
        body.pop_back();
        body += unit + ".";
    }
    return section(title, body + "</p>");
}

// The daemon's table without the bands at its ends in which next to nothing was counted.
std::string hours_section(const fleet_summary& of) {
    constexpr float NEXT_TO_NOTHING = 1e-4F;
    float most = 0;
    for (const auto& row : of.hours) most = std::max(most, *std::ranges::max_element(row));
    std::array<std::size_t, 2> volt{VOLT_BANDS, 0},
        temp{TEMP_BANDS, 0};  // the first and the one past the last
    for (std::size_t v = 0; v < VOLT_BANDS; ++v) {
        for (std::size_t t = 0; t < TEMP_BANDS; ++t) {
            if (of.hours[v][t] <= NEXT_TO_NOTHING * most) continue;
            volt = {std::min(volt[0], v), std::max(volt[1], v + 1)};
            temp = {std::min(temp[0], t), std::max(temp[1], t + 1)};
        }
    }
    std::string out =
        "<p class=\"muted\">Hours of the mean phone by voltage (mV) and temperature (°C), as the daemon "
        "counted "
        "them.</p><div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"Hours by voltage and "
        "temperature\"><table class=\"heat\"><tr><td></td>";
    for (std::size_t t = temp[0]; t < temp[1]; ++t)
        out += "<th scope=\"col\">" + html_text(temp_band_text(static_cast<std::int32_t>(t))) + "</th>";
    out += "</tr>";
    for (std::size_t v = volt[1]; v > volt[0]; --v) {
        out +=
            "<tr><th scope=\"row\">" + html_text(volt_band_text(static_cast<std::int32_t>(v - 1))) + "</th>";
        for (std::size_t t = temp[0]; t < temp[1]; ++t) {
            const auto hours = static_cast<double>(of.hours[v - 1][t]);
            const double shade = 0.7 * std::sqrt(hours / static_cast<double>(most));
            const std::string text = hours <= 0 ? "" : hours < 0.5 ? "&lt;1" : text_of("%.0f", hours);
            print(out, "<td style=\"background: rgb(var(--heat) / %.2f)\">%s</td>", shade, text.c_str());
        }
        out += "</tr>";
    }
    return section("Hours by voltage and temperature", out + "</table></div>", true);
}

std::string causes_section(const fleet_summary& of) {
    std::string out =
        "<table><tr><th>cause</th><th class=\"n\">of phones, ever</th><th class=\"n\">hours a year, of "
        "those</th></tr>";
    for (const stop_cause& each : of.causes)
        print(out, "<tr><td>%s</td><td class=\"n\">%s</td><td class=\"n\">%.3g</td></tr>", each.name.c_str(),
              share_text(each.phones).c_str(), each.hours);
    return section("Causes of stopped charging",
                   out + text_of("</table><p class=\"muted\">Of %llu phones.</p>",
                                 static_cast<unsigned long long>(of.phones)));
}

std::string influences_section(const fleet_summary& of) {
    constexpr std::size_t MOST = 12;
    std::string out =
        "<table><tr><th>key</th><th class=\"n\">with the first trip</th><th class=\"n\">with the stress "
        "hours</th></tr>";
    for (std::size_t i = 0; i < std::min(MOST, of.influences.size()); ++i) {
        const key_influence& each = of.influences[i];
        const auto cell = [](std::optional<double> rank) { return rank ? text_of("%+.2f", *rank) : "–"; };
        print(out, "<tr><td>%s</td><td class=\"n\">%s</td><td class=\"n\">%s</td></tr>",
              html_text(each.key).c_str(), cell(each.rank).c_str(), cell(each.stress).c_str());
    }
    if (of.influences.empty())
        return section("What mattered most", "<p>No key is drawn for eight phones.</p>");
    return section(
        "What mattered most",
        out +
            "</table><p class=\"muted\">Rank correlation of each drawn key with the day of the first trip "
            "(phones without one come last) and with the stress hours at the end. Negative: where it is "
            "larger the trip comes earlier." +
            (of.lowered.value > 0 ? "" : " –: no phone was lowered, so there is no first trip to go with.") +
            "</p>");
}

std::string unusual_section(const fleet_summary& of, const std::string& directory) {
    std::string out = "<table class=\"stack\"><tr><th>phone</th><th>why</th><th>command</th></tr>";
    for (const unusual_phone& each : of.unusual)
        print(out,
              "<tr><td data-at=\"Phone\">%llu<br> <span "
              "class=\"muted\">%s</span></td><td>%s</td><td><code>vorn-lab fleet phone "
              "%s %llu "
              "&gt; phone.toml &amp;&amp; vorn-lab simulate phone.toml --report phone.html</code></td></tr>",
              static_cast<unsigned long long>(each.number), html_text(each.kinds).c_str(),
              html_text(each.why).c_str(), html_text(directory).c_str(),
              static_cast<unsigned long long>(each.number));
    return section("The most unusual phones", out + "</table>", true);
}

std::string tiles(const fleet_summary& of) {
    std::string out = "<section class=\"wide tiles\">";
    const auto tile = [&out](const std::string& value, const std::string& what) {
        out += "<div><b>" + value + "</b>" + what + "</div>";
    };
    tile(share_text(of.lowered), text_of("of the phones lowered within %.4g days", of.span_days));
    tile(std::to_string(of.phones), text_of("phones, as much as %.0f of equal weight", of.effective));
    if (!of.stress.empty())
        tile(text_of("%.0f", of.stress.back().at[2]), "stress hours of the middle phone at the end");
    if (!of.capacity.empty()) tile(text_of("%.1f %%", of.capacity.back().at[2]), "of its capacity left");
    std::string ends;
    for (std::size_t i = 1; i < of.by_status.size(); ++i) {
        if (of.by_status[i] > 0)
            ends += text_of("%s%llu %s", ends.empty() ? "" : ", ",
                            static_cast<unsigned long long>(of.by_status[i]),
                            std::string(phone_status_names[i]).c_str());
    }
    tile(ends.empty() ? "all" : ends, ends.empty() ? "phones ended well" : "of the phones");
    return out + "</section>\n";
}

}  // namespace

std::string fleet_page(const fleet_summary& of, const std::string& directory,
                       const fleet_identity& identity) {
    std::string out =
        "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
        "'unsafe-inline'; img-src "
        "data:\">\n<link rel=\"icon\" href=\"data:,\">\n<title>Fleet: " +
        html_text(of.title) + "</title>\n<style>" + std::string(STYLE) +
        "</style></head><body>\n<header><h1>" + html_text(of.title) + "</h1><p class=\"muted\">" +
        text_of("%llu phones, each followed for %.4g days. ", static_cast<unsigned long long>(of.phones),
                of.span_days) +
        "Daemon " + html_text(identity.build.daemon) + ", lab " + html_text(identity.build.lab) +
        ", population " + html_text(identity.population) + ".</p></header>\n<main>\n";
    out += tiles(of);
    std::vector<std::string> groups;
    for (const kind_curve& each : of.curves) {
        if (std::ranges::find(groups, each.group) == groups.end()) groups.push_back(each.group);
    }
    for (const std::string& group : groups) out += curve_section(of, group);
    if (!of.stress.empty()) {
        double most = 1, least = PCT;
        for (const band_point& each : of.stress)
            most = std::isnan(each.at[4]) ? most : std::max(most, each.at[4]);
        for (const band_point& each : of.capacity)
            least = std::isnan(each.at[0]) ? least : std::min(least, each.at[0]);
        out += band_section(of, "Stress hours", of.stress, " h", 0, most);
        out += band_section(of, "Capacity left", of.capacity, " %", std::floor(least / 5) * 5, PCT);
    }
    out += causes_section(of) + influences_section(of) + hours_section(of) + unusual_section(of, directory);
    return out + "</main>\n<footer class=\"muted\">Made by vorn-lab " + html_text(identity.build.version) +
           ". The numbers as tables: vorn-lab fleet export, and fleet report --csv for the "
           "curves.</footer></body></html>\n";
}

std::string curves_csv(const fleet_summary& of) {
    const auto number = [](double value) {
        char text[32];
        return std::string(text,
                           std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6).ptr);
    };
    std::string out = "group,kind,day,lowered,low,high,effective,at_risk,events,censored,not_ok\n";
    for (const kind_curve& each : of.curves) {
        for (const curve_point& at : each.curve) {
            const share lowered = lowered_by(at);
            append_foreign_csv_cell(out, each.group);
            out += ',';
            append_foreign_csv_cell(out, each.kind);
            for (const double value :
                 {at.time, lowered.value, lowered.within.low, lowered.within.high, lowered.number})
                out += "," + number(value);
            for (const std::int64_t value : {at.at_risk, at.events, at.censored, at.others})
                out += "," + std::to_string(value);
            out += '\n';
        }
    }
    return out;
}

}  // namespace lab
