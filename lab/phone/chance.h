// Chance by key: what is drawn follows from the seed, the phone, what it is drawn for and the simulated time,
// and from nothing that was drawn before. Two phones, or two builds of the daemon on one phone, meet the same
// world at the same second, whatever happened to one of them in between.
//
// The numbers are Philox4x64-10 of J. K. Salmon, M. A. Moraes, R. O. Dror and D. E. Shaw, "Parallel random
// numbers: as easy as 1, 2, 3", SC11, 2011: integers alone, so the same on every processor.
#pragma once

#include <Random123/philox.h>
#include <cstddef>
#include <cstdint>

namespace lab::phone {

// Whose chance it is.
struct chance_key {
    std::uint64_t seed = 1;
    std::uint64_t phone = 0;  // one of many that share a seed
};

// What is drawn for. The numbers are part of every result: a new stream comes last.
enum class stream : std::uint64_t { load, gauge, weather, habit, population };

// Four independent 64-bit numbers for one moment of one stream.
class draws {
  public:
    static constexpr std::size_t COUNT = 4;

    draws(const chance_key& whose, stream of, std::int64_t when)
        : words_(
              r123::Philox4x64()({{static_cast<std::uint64_t>(when), static_cast<std::uint64_t>(of), 0, 0}},
                                 {{whose.seed, whose.phone}})) {}

    // Uniform in [0, 1); `which` below COUNT, here and below.
    double uniform(std::size_t which) const { return static_cast<double>(words_[which] >> 11) * 0x1.0p-53; }

    // Mean 0, standard deviation 1, within +-3.5: the sum of the four 16-bit numbers in a draw.
    double noise(std::size_t which) const {
        const std::uint64_t draw = words_[which];
        const auto sum = static_cast<double>((draw & 0xFFFF) + ((draw >> 16) & 0xFFFF) +
                                             ((draw >> 32) & 0xFFFF) + (draw >> 48));
        constexpr double MEAN = 2 * 65535.0;
        constexpr double DEVIATION = 37837.0;  // 65536 * sqrt(4 / 12)
        return (sum - MEAN) / DEVIATION;
    }

    std::uint64_t word(std::size_t which) const { return words_[which]; }

  private:
    r123::Philox4x64::ctr_type words_;
};

}  // namespace lab::phone
