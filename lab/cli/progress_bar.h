// A bar on standard error, for runs that take long on a terminal.
#pragma once

#include <chrono>

#include "lab/session/listener.h"

namespace lab {

// Shows nothing in the first second, nor when standard error is no terminal; wipes itself out at its end.
class progress_bar : public listener {
  public:
    progress_bar();
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;
    ~progress_bar() override;

    void on_progress(double share) override;
    bool wants_events() const override { return false; }
    bool wants_cycles() const override { return false; }

  private:
    bool is_on_terminal_;
    bool is_shown_ = false;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace lab
