// line_page: a few charts of lines and a table as one file of HTML, drawn as they are: it needs no script.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace lab {

struct line {
    std::string name;
    std::vector<std::pair<double, double>> points;  // ones that are no numbers leave a gap
};

struct line_chart {
    std::string title;  // with the unit
    std::string across;
    std::vector<line> lines;
};

struct text_table {
    std::vector<std::string> head;
    std::vector<std::vector<std::string>> rows;
};

std::string line_page(const std::string& title, const std::string& about,
                      const std::vector<line_chart>& charts, const text_table& table);

}  // namespace lab
