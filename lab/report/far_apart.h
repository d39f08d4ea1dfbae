// far_apart: the longest time for which one state of charge was far from another, for example what the phone
// displayed from what its gauge said.
#pragma once

#include <cstdint>
#include <optional>

namespace lab {

class far_apart {
  public:
    static constexpr double FAR_PCT = 10;                // this far apart or further
    static constexpr std::int64_t LEAST_S = 600;         // for less long is not worth telling
    static constexpr std::int64_t MAX_SILENCE_S = 1800;  // after longer without a cycle it is another time

    struct stretch {
        std::int64_t from_t = 0;  // axis seconds
        std::int64_t to_t = 0;
        std::int64_t worst_t = 0;
        double worst_pct = 0;  // how far the first was above the second, negative for below, at its worst
    };

    // One cycle, in order; a value that is not known ends a stretch.
    void add(std::int64_t t, std::optional<double> first_pct, std::optional<double> second_pct);

    // The longest of LEAST_S and more.
    std::optional<stretch> longest() const;

  private:
    std::optional<stretch> open_, longest_;
};

}  // namespace lab
