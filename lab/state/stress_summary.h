// What a stress table comes to, and which buckets brought it there.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/state/daemon_view.h"

namespace lab {

struct stress_bucket {
    std::int32_t row = 0;
    std::int32_t column = 0;
    float hours = 0;
    double weight = 0;        // stress hours for each hour
    double stress_hours = 0;  // what it brought
    double share = 0;         // of the stress hours that all buckets brought, 0 to 1
};

struct stress_summary {
    double total_hours = 0;
    std::vector<stress_bucket> buckets;  // those with hours, the one that brought most first
};

stress_summary summarise_stress(const daemon_view& view);

// A band as a person reads it: "3800-4000 mV" without the unit, "<=3000", ">4400".
std::string volt_band_text(std::int32_t row);
std::string temp_band_text(std::int32_t column);  // in °C

}  // namespace lab
