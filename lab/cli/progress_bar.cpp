#include "lab/cli/progress_bar.h"

#include <algorithm>
#include <iostream>
#include <string>
#include <unistd.h>

#include "lab/io/descriptor.h"

namespace lab {

namespace {

constexpr std::chrono::milliseconds FIRST_AFTER(1000);
constexpr std::chrono::milliseconds PERIOD(200);
constexpr std::size_t WIDTH = 50;
constexpr const char* WIPE_LINE = "\r\033[K";

// Past std::cerr, which lets no such order through. A bar that cannot be drawn is no loss.
void draw(const std::string& line) {
    std::cerr.flush();
    (void)write_all(STDERR_FILENO, WIPE_LINE + line);
}

}  // namespace

progress_bar::progress_bar()
    : is_on_terminal_(::isatty(STDERR_FILENO) != 0), next_(std::chrono::steady_clock::now() + FIRST_AFTER) {}

progress_bar::~progress_bar() {
    if (is_shown_) draw("");
}

void progress_bar::on_progress(double share) {
    if (!is_on_terminal_ || share < 0 || std::chrono::steady_clock::now() < next_) return;
    next_ = std::chrono::steady_clock::now() + PERIOD;
    is_shown_ = true;
    share = std::min(share, 1.0);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(WIDTH));
    draw("[" + std::string(filled, '#') + std::string(WIDTH - filled, ' ') + "] " +
         std::to_string(static_cast<int>(share * 100)) + " %");
}

}  // namespace lab
