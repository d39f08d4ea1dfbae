// One measured run, to be counted by valgrind: vorn_instructions alone|series|report|replay DAYS (script/check
// instructions).

#include <charconv>
#include <cstring>
#include <iostream>
#include <string_view>

#include "bench/runs.h"

namespace {

bool run(std::string_view what, std::int64_t days) {
    if (what == "alone") {
        bench::run_alone(bench::phone_in_use(days));
    } else if (what == "series") {
        bench::run_with_series(bench::phone_in_use(days));
    } else if (what == "report") {
        bench::run_with_report(bench::phone_in_use(days), false);
    } else if (what == "replay") {
        bench::replay(bench::trace_in_use(days * bench::CYCLES_PER_DAY), {});
    } else {
        return false;
    }
    return true;
}

}  // namespace

int main(int count, char** arguments) {
    std::int64_t days = 0;
    if (count == 3) std::from_chars(arguments[2], arguments[2] + std::strlen(arguments[2]), days);
    if (days > 0 && run(arguments[1], days)) return 0;
    std::cerr << "usage: vorn_instructions alone|series|report|replay DAYS\n";
    return 2;
}
