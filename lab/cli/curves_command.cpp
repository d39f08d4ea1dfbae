// vorn-lab curves: the daemon's open-circuit-voltage curves as CSV (docs/formats.md).

#include <CLI/CLI.hpp>
#include <iostream>

#include "battery/vendor_table.h"
#include "lab/cli/commands.h"

namespace lab {

namespace {

void print_curves() {
    std::cout << "vendor,temp_c,index,ocv_tenth_mv\n";
    for (const batt_info* record : batt_info_vendor_table) {
        for (std::int32_t k = 0; k < BATT_TEMPS; ++k) {
            for (std::int32_t i = 0; i < BATT_CURVE_POINTS; ++i) {
                std::cout << record->vendor << ',' << record->temps[k] << ',' << i << ','
                          << record->ocv_curves[k][i] << '\n';
            }
        }
    }
}

}  // namespace

void add_curves_command(CLI::App& app) {
    app.add_subcommand("curves", "Print the battery curves of every cell vendor as CSV")
        ->callback(print_curves);
}

}  // namespace lab
