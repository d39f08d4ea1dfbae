#include "lab/fleet/svg_chart.h"

#include <algorithm>
#include <cmath>

#include "lab/io/print.h"
#include "lab/io/text.h"

namespace lab {

namespace {

constexpr double WIDTH = 420, HEIGHT = 250;  // of the drawing, in its own units; the page stretches it
constexpr double LEFT = 72, RIGHT = 20, TOP = 10, BOTTOM = 30;

}  // namespace

svg_chart::svg_chart(std::string label, double x_end, double y_begin, double y_end)
    : label_(std::move(label)),
      x_end_(x_end),
      y_begin_(y_begin),
      y_end_(y_end > y_begin ? y_end : y_begin + 1) {}

double svg_chart::x_of(double value) const {
    return LEFT + (WIDTH - LEFT - RIGHT) * value / x_end_;
}
double svg_chart::y_of(double value) const {
    const double share = (std::clamp(value, y_begin_, y_end_) - y_begin_) / (y_end_ - y_begin_);
    return HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * share;
}

std::vector<double> svg_chart::round_steps(double begin, double end, std::size_t most) {
    const double rough = (end - begin) / static_cast<double>(most);
    double step = std::pow(10, std::floor(std::log10(rough)));
    for (const double times : {2.0, 2.5, 2.0}) {
        if (step >= rough) break;
        step *= times;
    }
    std::vector<double> steps;
    for (double at = std::ceil(begin / step) * step; at <= end + step * 1e-9; at += step) steps.push_back(at);
    return steps;
}

void svg_chart::draw_axes(const std::string& x_unit, const std::string& y_unit) {
    constexpr std::size_t MOST_X = 5, MOST_Y = 5;
    for (const double at : round_steps(y_begin_, y_end_, MOST_Y)) {
        print(body_, "<path class=\"grid\" d=\"M%.0f %.1fH%.0f\"/>", LEFT, y_of(at), WIDTH - RIGHT);
        print(body_, "<text x=\"%.0f\" y=\"%.1f\" text-anchor=\"end\">%.6g%s</text>", LEFT - 6, y_of(at) + 4,
              at, html_text(y_unit).c_str());
    }
    for (const double at : round_steps(0, x_end_, MOST_X)) {
        print(body_, "<path class=\"grid\" d=\"M%.1f %.0fV%.0f\"/>", x_of(at), TOP, HEIGHT - BOTTOM);
        print(body_, "<text x=\"%.1f\" y=\"%.0f\" text-anchor=\"middle\">%.6g%s</text>", x_of(at),
              HEIGHT - BOTTOM + 18, at, html_text(x_unit).c_str());
    }
}

std::string svg_chart::path_of(const points& through, bool is_stepped) const {
    std::string path;
    for (const auto& [x, y] : through) {
        if (path.empty()) {
            print(path, "M%.1f %.1f", x_of(x), y_of(y));
        } else if (is_stepped) {
            print(path, "H%.1fV%.1f", x_of(x), y_of(y));
        } else {
            print(path, "L%.1f %.1f", x_of(x), y_of(y));
        }
    }
    return path;
}

void svg_chart::line(const points& through, const std::string& css, const std::string& title,
                     bool is_stepped) {
    print(body_, "<path class=\"line %s\" d=\"%s\"><title>%s</title></path>", css.c_str(),
          path_of(through, is_stepped).c_str(), html_text(title).c_str());
}

void svg_chart::band(const points& low, const points& high, const std::string& css) {
    points around = high;
    around.insert(around.end(), low.rbegin(), low.rend());
    print(body_, "<path class=\"band %s\" d=\"%sZ\"/>", css.c_str(), path_of(around, false).c_str());
}

std::string svg_chart::text() const {
    return text_of("<svg viewBox=\"0 0 %.0f %.0f\" role=\"img\" aria-label=\"%s\">", WIDTH, HEIGHT,
                   html_text(label_).c_str()) +
           body_ + "</svg>";
}

}  // namespace lab
