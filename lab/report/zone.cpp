#include "lab/report/zone.h"

#include <algorithm>
#include <ctime>

namespace lab {

namespace {

constexpr std::int64_t STEP_S =
    std::int64_t{7} * 86400;  // no zone has changed twice within a week in living memory
constexpr std::int64_t MAX_SPAN_S = std::int64_t{100} * 366 * 86400;

zone_offset offset_at(std::int64_t when_s) {
    const std::time_t when = when_s;
    std::tm local{};
    if (localtime_r(&when, &local) == nullptr) return {when_s, 0, "UTC"};
    return {when_s, local.tm_gmtoff, local.tm_zone};
}

bool same(const zone_offset& a, const zone_offset& b) {
    return a.offset_s == b.offset_s && a.name == b.name;
}

// The first second after `before` at which the zone is as in `after`.
zone_offset first_after_change(zone_offset before, zone_offset after) {
    while (after.from_s - before.from_s > 1) {
        const zone_offset middle = offset_at(before.from_s + (after.from_s - before.from_s) / 2);
        (same(middle, before) ? before : after) = middle;
    }
    return after;
}

}  // namespace

std::vector<zone_offset> zone_offsets(std::int64_t first_s, std::int64_t last_s) {
    last_s = std::min(last_s, first_s + MAX_SPAN_S);
    std::vector<zone_offset> found = {offset_at(first_s)};
    for (std::int64_t at_s = first_s; at_s < last_s;) {
        const zone_offset before = offset_at(at_s);
        at_s = std::min(at_s + STEP_S, last_s);
        const zone_offset after = offset_at(at_s);
        if (!same(before, after)) found.push_back(first_after_change(before, after));
    }
    return found;
}

}  // namespace lab
