#include "battery/batt_info.h"

#include <cstring>

#include "battery/vendor_table.h"
#include "util/log.h"

batt_vendor_table batt_info_vendor_table = {&batt_ATL, &batt_LWN};

namespace {

// The one voltage that is checked as such, to catch a record in the wrong unit.
// Empty voltage on the coldest curve <= this: the record is invalid
constexpr std::int32_t COLDEST_EMPTY_ABOVE_TENTH_MV = 25000;
// Empty voltage on the coldest curve >= this: the record is invalid
constexpr std::int32_t COLDEST_EMPTY_BELOW_TENTH_MV = 50000;

constexpr std::int32_t NO_VENDOR = -1;

struct {
    const batt_info* selected;  // null while there is none
} s;

bool is_strictly_falling(const std::int32_t* values, std::int32_t count) {
    for (std::int32_t i = 1; i < count; ++i) {
        if (values[i - 1] <= values[i]) return false;
    }
    return true;
}

std::int32_t find_vendor(batt_vendor_table& table, const char* vendor_name) {
    for (std::int32_t i = 0; i < BATT_VENDORS; ++i) {
        if (std::strcmp(vendor_name, table[i]->vendor) == 0) return i;
    }
    return NO_VENDOR;
}

}  // namespace

bool is_batt_info_valid(const batt_info* record) {
    if (record == nullptr) return false;
    for (const auto& curve : record->ocv_curves) {
        if (!is_strictly_falling(curve, BATT_CURVE_POINTS)) return false;
    }
    const std::int32_t coldest_empty = record->ocv_curves[BATT_TEMPS - 1][BATT_CURVE_POINTS - 1];
    return coldest_empty > COLDEST_EMPTY_ABOVE_TENTH_MV && coldest_empty < COLDEST_EMPTY_BELOW_TENTH_MV &&
           is_strictly_falling(record->temps, BATT_TEMPS);
}

const batt_info* choose_batt_info(batt_vendor_table& table, const char* vendor_name) {
    const batt_info* first_valid = nullptr;
    for (const batt_info* record : table) {
        if (!is_batt_info_valid(record)) {
            LOG_ERROR("Error: Invalid battery params for vendor \"%s\"! ---\n", record->vendor);
        } else if (first_valid == nullptr) {
            first_valid = record;
        }
    }
    if (first_valid == nullptr) {
        LOG_ERROR("FATAL ERROR: No valid battery params found! ---\n");
        return nullptr;
    }

    const std::int32_t named = find_vendor(table, vendor_name);
    if (named == NO_VENDOR) {
        LOG_ERROR("Error: No battery params found for vendor \"%s\" ---\n", vendor_name);
    } else if (!is_batt_info_valid(table[named])) {
        LOG_ERROR("Error: Battery params for vendor \"%s\" are invalid! ---\n", vendor_name);
    } else {
        LOG_ERROR("Loading battery params for vendor \"%s\" ---\n", vendor_name);
        return table[named];
    }
    LOG_ERROR("Substituting battery params with vendor \"%s\" ---\n", first_valid->vendor);
    return first_valid;
}

std::int32_t batt_info__init(const char* vendor_name) {
    s = {};
    s.selected = choose_batt_info(batt_info_vendor_table, vendor_name);
    return s.selected == nullptr ? 1 : 0;
}

const batt_info* batt_info__get() {
    return s.selected;
}
