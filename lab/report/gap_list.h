// gap_list: where a run has no cycles, told from the distances between them.
//
//     cycles   . . . .               . . . .         . . . .
//     gaps            [    gap     ]         [ off  ]            off: the daemon has started anew meanwhile
//
// A distance between two cycles is a gap when it is more than GAP_FACTOR times the usual one and more than
// LEAST_GAP_S. Between two boots there always is one, however short.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lab {

class gap_list {
  public:
    static constexpr std::int64_t LEAST_GAP_S = 60;
    static constexpr std::int64_t GAP_FACTOR = 3;
    static constexpr std::size_t MAX_GAPS = 2000;  // of more the shortest are forgotten

    struct gap {
        std::int64_t from_t = 0;  // axis seconds of the last cycle before and the first one after
        std::int64_t to_t = 0;
        bool is_off = false;  // the daemon was not running
    };

    // One cycle, in order; `t` never falls.
    void add(std::int64_t t, std::int64_t boot);

    std::int64_t usual_s() const;          // the median distance; 0 before the second cycle
    std::int64_t longest_usual_s() const;  // a distance above this is a gap
    std::vector<gap> gaps() const;         // in order
    std::int64_t forgotten() const { return forgotten_; }

  private:
    static constexpr std::size_t COUNTED_S = 3600;  // a longer distance counts as this one for the median

    void forget_shortest();

    bool has_cycle_ = false;
    std::int64_t last_t_ = 0;
    std::int64_t boot_ = 0;
    std::array<std::uint64_t, COUNTED_S + 1> distances_{};  // how many of each length
    std::uint64_t distance_count_ = 0;
    std::vector<gap> candidates_;
    std::int64_t forgotten_ = 0;
};

}  // namespace lab
