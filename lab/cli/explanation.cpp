#include "lab/cli/explanation.h"

#include <string_view>
#include <vector>

#include "lab/io/error.h"
#include "lab/io/nearest.h"
#include "lab/io/text.h"
#include "lab/story/log_table.h"
#include "lab/wiring/check_table.h"

namespace lab {

std::string explanation_of(const std::string& id_or_line) {
    if (const check_entry* const check = find_check(id_or_line)) return explain_check(*check);
    const log_line* line = find_log_line(id_or_line);
    if (line == nullptr) line = log_line_of(id_or_line);
    if (line != nullptr) return explain_log_line(*line);
    std::vector<std::string_view> ids = log_line_ids();
    for (const check_entry& each : check_table()) ids.push_back(each.id);
    const auto word = nearest(id_or_line, ids);
    throw input_error(
        "--explain: neither a check nor a line of the daemon's log: " + for_message(id_or_line) +
        (word ? "; did you mean " + std::string(*word) + "?" : "") + " (see check --list, story --list)");
}

}  // namespace lab
