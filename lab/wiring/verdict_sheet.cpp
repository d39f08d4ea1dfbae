#include "lab/wiring/verdict_sheet.h"

#include <algorithm>

namespace lab {

verdict_sheet::verdict_sheet() {
    for (const check_entry& each : check_table())
        found_.push_back({&each, wiring_verdict::not_there, "no samples", "", 0, {}});
}

finding& verdict_sheet::at(std::string_view id) {
    return *std::ranges::find(found_, id, [](const finding& of) { return of.check->id; });
}

void verdict_sheet::say(std::string_view id, wiring_verdict result, std::string what, std::string raw,
                        std::uint64_t count) {
    finding& each = at(id);
    each = {each.check, result, std::move(what), std::move(raw), count, {}};
}

}  // namespace lab
