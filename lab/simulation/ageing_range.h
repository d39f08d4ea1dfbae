// ageing_range: for how long a simulated battery was where no ageing was measured.
#pragma once

#include <cstdint>
#include <string>

#include "lab/session/listener.h"

namespace lab {

class ageing_range : public listener {
  public:
    void on_cycle(const cycle& after) override;
    bool wants_events() const override { return false; }
    bool wants_samples() const override { return false; }

    // Seconds in which the battery was colder or hotter than any cell whose ageing the law's figures come from.
    std::int64_t beyond_s() const { return beyond_s_; }
    // A sentence that says so; empty when it never was.
    std::string text() const;

  private:
    std::int64_t now_s_ = 0;  // of the cycle last heard of
    std::int64_t beyond_s_ = 0;
    bool is_beyond_ = false;
};

}  // namespace lab
