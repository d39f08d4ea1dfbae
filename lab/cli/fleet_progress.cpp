#include "lab/cli/fleet_progress.h"

#include <cmath>
#include <iostream>
#include <unistd.h>

#include "lab/io/descriptor.h"
#include "lab/io/print.h"
#include "lab/io/time_text.h"

namespace lab {

namespace {

constexpr std::chrono::seconds ON_TERMINAL(1);
constexpr std::chrono::minutes ELSEWHERE(10);
constexpr double YEAR_S = 365 * 86400.0;
constexpr double HOUR_S = 3600;

double seconds_since(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

std::string duration_of(double seconds) {
    return duration_text(std::llround(seconds));
}

}  // namespace

fleet_progress::fleet_progress(bool is_quiet)
    : is_quiet_(is_quiet),
      is_on_terminal_(::isatty(STDERR_FILENO) != 0),
      next_(begin_ + (is_on_terminal_ ? std::chrono::duration_cast<clock::duration>(ON_TERMINAL)
                                      : std::chrono::duration_cast<clock::duration>(ELSEWHERE))) {}

fleet_progress::~fleet_progress() {
    if (is_shown_ && is_on_terminal_) (void)write_all(STDERR_FILENO, "\r\033[K");
}

void fleet_progress::show(const run_progress& now) {
    if (is_quiet_ || clock::now() < next_) return;
    next_ = clock::now() + (is_on_terminal_ ? std::chrono::duration_cast<clock::duration>(ON_TERMINAL)
                                            : std::chrono::duration_cast<clock::duration>(ELSEWHERE));
    is_shown_ = true;
    const double passed_s = seconds_since(begin_);
    const double per_phone_s = passed_s / static_cast<double>(now.done);
    std::string line =
        text_of("%llu of %llu phones, %.3g a minute, %s left", static_cast<unsigned long long>(now.done),
                static_cast<unsigned long long>(now.all), 60 / per_phone_s,
                duration_of(per_phone_s * static_cast<double>(now.all - now.done)).c_str());
    if (now.not_ok > 0) line += text_of(", %llu not ok", static_cast<unsigned long long>(now.not_ok));
    std::cerr.flush();
    (void)write_all(STDERR_FILENO, is_on_terminal_ ? "\r\033[K" + line : line + "\n");
}

std::string fleet_progress::summary(const run_progress& end) const {
    if (end.done == 0) return "";
    const double passed_s = seconds_since(begin_);
    return text_of("%llu phones in %s: %.0f phone-years an hour here",
                   static_cast<unsigned long long>(end.done), duration_of(passed_s).c_str(),
                   end.phone_s / YEAR_S / passed_s * HOUR_S);
}

}  // namespace lab
