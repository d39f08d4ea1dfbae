// A bar on standard error, for runs that take long on a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "lab/session/listener.h"

namespace lab {

// "[####    ] 50 %" for a terminal of so many columns, of which it leaves the last one free; without the bar where that is
// too narrow for one, and empty where nothing fits.
std::string bar_text(double share, std::size_t columns);

// Shows nothing in the first second, nor when standard error is no terminal that knows how to wipe a line.
class progress_bar : public listener {
  public:
    progress_bar();
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;
    ~progress_bar() override { wipe(); }

    // To be called before anything else is written to the terminal.
    void wipe();

    void on_progress(double share) override;
    bool wants_events() const override { return false; }
    bool wants_cycles() const override { return false; }

  private:
    bool is_on_terminal_;
    bool is_shown_ = false;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace lab
