// Cycle counting by rainflow (ASTM E1049-85, 5.4.4): a small swing inside a great one counts as a cycle of its own
// and leaves the great one whole.
//
//     state of charge   A         D
//                        \       /          B-C is no greater than C-D and lies inside A-D: it is closed, and the
//                         \  C  /           fall from A goes on to B's level and beyond as if it had never been
//                          \/ \/
//                          B
//
// What is not closed yet counts as half cycles, the swing that is going on included; in closing, two of these
// halves become one whole cycle, so the sum never jumps.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace lab::phone {

// Trivially copyable. `damage_of(swing)` is that of a half cycle and never falls with the swing.
class rainflow {
  public:
    // The level is now here.
    template <typename Damage>
    void follow(double level, Damage damage_of) {
        if (count_ == 0) turns_[count_++] = level_ = level;
        const bool goes_on = (level - level_) * (level_ - turns_[count_ - 1]) >= 0;
        if (!goes_on) add_turn(level_, damage_of);
        level_ = level;
        close(damage_of);
    }

    // Of all that was counted, the open swings included.
    template <typename Damage>
    double damage(Damage damage_of) const {
        return settled_ + (count_ == 0 ? 0 : damage_of(std::abs(level_ - turns_[count_ - 1])));
    }

  private:
    static constexpr std::size_t MOST_TURNS = 64;

    double swing(std::size_t i) const { return std::abs(turns_[i + 1] - turns_[i]); }

    // With the swing that led to it as a half cycle.
    template <typename Damage>
    void add_turn(double level, Damage damage_of) {
        if (count_ == MOST_TURNS) forget_first();
        turns_[count_++] = level;
        settled_ += damage_of(swing(count_ - 2));
    }

    // Closes what the swing that is going on has outgrown. The two halves of a closed cycle were counted when they
    // ended; the one before them is taken up again as a part of the swing that is going on.
    template <typename Damage>
    void close(Damage damage_of) {
        while (count_ >= 3 && std::abs(level_ - turns_[count_ - 1]) >= swing(count_ - 2)) {
            settled_ += damage_of(swing(count_ - 2));  // the second half of the cycle
            settled_ -= damage_of(swing(count_ - 3));
            count_ -= 2;
        }
        // A swing from the very start is no part of a cycle: it stays the half that it was.
        if (count_ == 2 && std::abs(level_ - turns_[1]) >= swing(0)) forget_first();
    }

    // Also where there are more open swings than room: the oldest stays counted as a half cycle.
    void forget_first() {
        for (std::size_t i = 1; i < count_; ++i) turns_[i - 1] = turns_[i];
        --count_;
    }

    std::array<double, MOST_TURNS> turns_{};
    std::size_t count_ = 0;
    double level_ = 0;
    double settled_ = 0;  // closed cycles, and open swings up to the last turn
};

}  // namespace lab::phone
