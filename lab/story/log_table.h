// Every line that the daemon can log, what it means and what to do: one table, from which --explain, docs/log.md and the
// lines' names in a story are made.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lab {

struct log_line {
    std::string_view id;       // stable; scripts may rely on it
    std::string_view format;   // as the daemon has it, without the dashes and the tag around it
    std::string_view meaning;  // goes on after "it means that"
    std::string_view remedy;   // empty: nothing is to be done
};

// By its id; null for an id that is none.
const log_line* find_log_line(std::string_view id);
// The line that reads so, with or without what stands around it; null for a line that the daemon does not write.
const log_line* log_line_of(std::string_view text);
std::vector<std::string_view> log_line_ids();

// The table as the document has it, in Markdown; one entry for a person.
std::string log_lines_reference();
std::string explain_log_line(const log_line& line);

}  // namespace lab
