#include "lab/cli/progress_bar.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <unistd.h>

#include "lab/io/descriptor.h"
#include "lab/io/narrow_stream.h"
#include "lab/io/unfinished_files.h"

namespace lab {

namespace {

constexpr std::chrono::milliseconds FIRST_AFTER(1000);
constexpr std::chrono::milliseconds PERIOD(200);
constexpr std::size_t WIDEST = 50;
constexpr std::size_t NARROWEST = 4;
constexpr std::size_t USUAL_COLUMNS = 80;

// Past std::cerr, which lets no such order through. A bar that cannot be drawn is no loss.
void draw(const std::string& line) {
    std::cerr.flush();
    (void)write_all(STDERR_FILENO, std::string(WIPE_LINE) + line);
}

bool can_wipe() {
    const char* const terminal = std::getenv("TERM");
    return ::isatty(STDERR_FILENO) != 0 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

}  // namespace

std::string bar_text(double share, std::size_t columns) {
    share = std::clamp(share, 0.0, 1.0);
    std::string percent = std::to_string(static_cast<int>(share * 100)) + " %";
    constexpr std::size_t BESIDE = 9;  // "[] 100 %", and the last column, where some terminals wrap
    if (columns <= percent.size()) return "";
    if (columns < BESIDE + NARROWEST) return percent;
    const std::size_t width = std::min(WIDEST, columns - BESIDE);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(width));
    return "[" + std::string(filled, '#') + std::string(width - filled, ' ') + "] " + percent;
}

progress_bar::progress_bar()
    : is_on_terminal_(can_wipe()), next_(std::chrono::steady_clock::now() + FIRST_AFTER) {}

void progress_bar::wipe() {
    if (is_shown_) draw("");
    is_shown_ = false;
    remember_bar(false);
}

void progress_bar::on_progress(double share) {
    if (!is_on_terminal_ || share < 0 || std::chrono::steady_clock::now() < next_) return;
    next_ = std::chrono::steady_clock::now() + PERIOD;
    is_shown_ = true;
    remember_bar(true);
    const std::size_t columns = columns_of_terminal(STDERR_FILENO);  // each time: a window changes its size
    draw(bar_text(share, columns > 0 ? columns : USUAL_COLUMNS));
}

}  // namespace lab
