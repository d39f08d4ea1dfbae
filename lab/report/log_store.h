// log_store: the lines of a run, each as its shape (the text with every number taken out, its kind and feature) and
// its numbers, so that a message repeated a thousand times costs little. Thinned by shape when they are many.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lab/report/thinned_list.h"
#include "lab/session/event.h"
#include "lab/story/features.h"

namespace lab {

class log_store {
  public:
    static constexpr std::size_t MAX_LINES = 100'000;
    static constexpr std::size_t MAX_NUMBER_BYTES = 3'000'000;  // of the numbers of all lines together
    static constexpr std::size_t MAX_SHAPES =
        1'000;  // of the lines of further ones the whole text is one number
    static constexpr std::size_t MAX_LINE_BYTES = 1'000;  // a longer line is cut

    static constexpr char NUMBER = '\x01';     // stands in a shape's text where a number was
    static constexpr char SEPARATOR = '\x7f';  // between numbers

    struct shape {
        event_kind kind = event_kind::log;
        feature whose = feature::core;
        std::string text;
        std::string_view line_id =
            {};  // of the first line of it (log_table.h); empty: none of the daemon's log
    };
    struct line {
        std::int64_t t = 0;  // axis seconds
        std::string numbers;
    };
    using list = thinned_list<line>;  // a line's group is the number of its shape

    explicit log_store(std::size_t max_lines = MAX_LINES) : lines_(max_lines, MAX_NUMBER_BYTES) {}

    void add(std::int64_t t, const event& what);

    const std::vector<shape>& shapes() const { return shapes_; }
    const list& lines() const { return lines_; }

  private:
    std::size_t shape_for(const event& what, const std::string& text, std::string& numbers);

    std::vector<shape> shapes_;
    std::unordered_map<std::string, std::size_t> shape_numbers_;  // by kind, feature and text
    list lines_;
};

// `text` with each number replaced by NUMBER; the numbers go to `numbers`, SEPARATOR between them.
std::string without_numbers(std::string_view text, std::string& numbers);

}  // namespace lab
