// svg_chart: a chart as text within a page: two axes, lines, bands. Colours are the page's classes.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace lab {

class svg_chart {
  public:
    using points = std::vector<std::pair<double, double>>;

    // `label` says what is shown, for whoever cannot see it; both ranges run upwards and are not empty.
    svg_chart(std::string label, double x_end, double y_begin, double y_end);

    // Round steps of the range, with their numbers and `unit`.
    void draw_axes(const std::string& x_unit, const std::string& y_unit);
    void line(const points& through, const std::string& css, const std::string& title,
              bool is_stepped = false);
    // Between two lines over the same places.
    void band(const points& low, const points& high, const std::string& css);

    std::string text() const;

    static std::vector<double> round_steps(double begin, double end, std::size_t most);

  private:
    double x_of(double value) const;
    double y_of(double value) const;
    std::string path_of(const points& through, bool is_stepped) const;

    std::string label_;
    double x_end_, y_begin_, y_end_;
    std::string body_;
};

}  // namespace lab
