#include "lab/simulation/ageing_range.h"

#include "lab/io/print.h"
#include "lab/io/time_text.h"
#include "lab/phone/ageing.h"
#include "lab/scenario/truth.h"

namespace lab {

void ageing_range::on_cycle(const cycle& after) {
    const auto now_s = static_cast<std::int64_t>(after.truth[static_cast<std::size_t>(truth_column::sim_s)]);
    if (is_beyond_) beyond_s_ += now_s - now_s_;
    now_s_ = now_s;
    const double celsius = after.truth[static_cast<std::size_t>(truth_column::true_temp_c)];
    is_beyond_ = celsius < phone::MEASURED_LEAST_C || celsius > phone::MEASURED_MOST_C;
}

std::string ageing_range::text() const {
    if (beyond_s_ == 0) return {};
    return text_of(
        "The battery was below %g or above %g °C for %s, where no ageing was measured: there its wear is a "
        "guess",
        phone::MEASURED_LEAST_C, phone::MEASURED_MOST_C, duration_text(beyond_s_).c_str());
}

}  // namespace lab
