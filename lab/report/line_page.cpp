#include "lab/report/line_page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "lab/io/print.h"
#include "lab/io/text.h"
#include "lab/report/provenance.h"

namespace lab {

namespace {

constexpr double WIDTH = 640, HEIGHT = 260, LEFT = 60, RIGHT = 12, TOP = 8, BOTTOM = 36;
constexpr int TICKS = 5;
// Told apart by most eyes that see colours otherwise (Okabe and Ito, jfly.uni-koeln.de/color, 2008).
constexpr std::array<const char*, 7> COLOURS{"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                             "#e69f00", "#56b4e9", "#777777"};

constexpr const char* STYLE =
    R"(body{font:15px/1.5 system-ui,sans-serif;max-width:60rem;margin:2rem auto;padding:0 1rem;
color:#222;background:#fff}svg{max-width:100%;height:auto;overflow:visible}svg text{font-size:12px;fill:currentColor}
table{border-collapse:collapse;font-variant-numeric:tabular-nums;display:block;overflow-x:auto}pre{overflow-x:auto}td,th{padding:.15rem .6rem;
text-align:right;border-bottom:1px solid #8884}h2{font-size:1rem;margin:1.5rem 0 .3rem}.key{margin-right:1rem}
@media(prefers-color-scheme:dark){body{color:#ddd;background:#1b1b1b}})";

// A range of values, and where it lies on the paper.
struct axis {
    double least = std::numeric_limits<double>::infinity(), most = -std::numeric_limits<double>::infinity();
    double from = 0, to = 0;  // on the paper

    void take(double value) {
        least = std::min(least, value);
        most = std::max(most, value);
    }
    // A tenth, a half, or a whole of a power of ten.
    double step() const {
        const double rough = (most - least) / TICKS;
        const double power = std::pow(10, std::floor(std::log10(rough)));
        for (const double each : {1.0, 2.0, 5.0}) {
            if (each * power >= rough) return each * power;
        }
        return 10 * power;
    }
    void widen() {
        if (!(least <= most)) least = 0, most = 1;
        if (least == most) least -= 0.5, most += 0.5;
    }
    double at(double value) const { return from + (value - least) / (most - least) * (to - from); }
};

bool is_point(const std::pair<double, double>& of) {
    return std::isfinite(of.first) && std::isfinite(of.second);
}

void draw_axes(std::string& out, const axis& across, const axis& up, const std::string& name) {
    for (double value = std::ceil(up.least / up.step()) * up.step(); value <= up.most; value += up.step())
        print(out,
              "<path d=\"M%g %.1fH%g\" stroke=\"#8884\"/><text x=\"%g\" y=\"%.1f\" text-anchor=\"end\" "
              "dy=\".3em\">%.6g</text>\n",
              LEFT, up.at(value), WIDTH - RIGHT, LEFT - 6, up.at(value),
              std::abs(value) < up.step() / 1000 ? 0 : value);
    for (double value = std::ceil(across.least / across.step()) * across.step(); value <= across.most;
         value += across.step())
        print(out, "<text x=\"%.1f\" y=\"%g\" text-anchor=\"middle\">%.6g</text>\n", across.at(value),
              HEIGHT - BOTTOM + 16, std::abs(value) < across.step() / 1000 ? 0 : value);
    print(out, "<text x=\"%g\" y=\"%g\" text-anchor=\"middle\">%s</text>\n", (LEFT + WIDTH - RIGHT) / 2,
          HEIGHT - 4, html_text(name).c_str());
}

void draw_line(std::string& out, const line& of, const axis& across, const axis& up, const char* colour) {
    constexpr std::size_t MOST_DOTS = 60;
    std::string path;
    bool is_drawing = false;
    for (const auto& each : of.points) {
        if (is_point(each))
            print(path, "%c%.1f %.1f", is_drawing ? 'L' : 'M', across.at(each.first), up.at(each.second));
        is_drawing = is_point(each);
    }
    print(out, "<path d=\"%s\" fill=\"none\" stroke=\"%s\" stroke-width=\"1.6\"/>\n", path.c_str(), colour);
    if (of.points.size() > MOST_DOTS) return;
    for (const auto& each : of.points) {
        if (is_point(each))
            print(out,
                  "<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3\" fill=\"%s\"><title>%s: %g, %g</title></circle>\n",
                  across.at(each.first), up.at(each.second), colour, html_text(of.name).c_str(), each.first,
                  each.second);
    }
}

void draw(std::string& out, const line_chart& of) {
    axis across, up;
    for (const line& each : of.lines) {
        for (const auto& point : each.points) {
            if (!is_point(point)) continue;
            across.take(point.first);
            up.take(point.second);
        }
    }
    across.widen();
    up.widen();
    across.from = LEFT, across.to = WIDTH - RIGHT;
    up.from = HEIGHT - BOTTOM, up.to = TOP;
    print(out, "<h2>%s</h2>\n<p>", html_text(of.title).c_str());
    for (std::size_t i = 0; i < of.lines.size(); ++i)
        print(out, "<span class=\"key\"><span style=\"color:%s\">&#9632;</span> %s</span>",
              COLOURS[i % COLOURS.size()], html_text(of.lines[i].name).c_str());
    print(out, "</p>\n<svg viewBox=\"0 0 %g %g\" width=\"%g\" role=\"img\" aria-label=\"%s\">\n", WIDTH,
          HEIGHT, WIDTH, html_text(of.title).c_str());
    draw_axes(out, across, up, of.across);
    for (std::size_t i = 0; i < of.lines.size(); ++i)
        draw_line(out, of.lines[i], across, up, COLOURS[i % COLOURS.size()]);
    out += "</svg>\n";
}

void append_row(std::string& out, const std::vector<std::string>& cells, const char* element) {
    out += "<tr>";
    for (const std::string& each : cells)
        print(out, "<%s>%s</%s>", element, html_text(each).c_str(), element);
    out += "</tr>\n";
}

}  // namespace

std::string line_page(const std::string& title, const std::string& about,
                      const std::vector<line_chart>& charts, const text_table& table) {
    const std::string name = html_text(title);
    std::string out = "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + name +
                      "</title>\n<meta name=\"viewport\" content=\"width=device-width\">\n<style>" + STYLE +
                      "</style></head>\n<body><h1>" + name + "</h1>\n<p>" + html_text(about) + "</p>\n";
    for (const line_chart& each : charts) draw(out, each);
    const std::string foot = "<p>Made by vorn-lab " + html_text(program_text()) + ".</p></body></html>\n";
    out += "<h2>In numbers</h2>\n";
    if (table.head.empty()) {
        out += "<pre>";
        for (const auto& row : table.rows) out += html_text(row.front()) + "\n";
        return out + "</pre>" + foot;
    }
    out += "<table><thead>\n";
    append_row(out, table.head, "th");
    out += "</thead><tbody>\n";
    for (const auto& row : table.rows) append_row(out, row, "td");
    return out + "</tbody></table>" + foot;
}

}  // namespace lab
