// stress_gauge: the stress hours of the daemon's lifetime histogram as it stands in this process, cycle by cycle.
// The daemon itself adds them up every 48 hours only, and corrects the table while it does; this only looks.
#pragma once

#include <array>
#include <cstddef>

#include "stress/stress_bands.h"

namespace lab {

class stress_gauge {
  public:
    stress_gauge();

    // To three decimals, without the offset that a test may set. Entries that the daemon would reject bring nothing.
    double read();

  private:
    using row = std::array<float, TEMP_BANDS>;
    using row_bytes = std::array<char, sizeof(row)>;  // by which an entry that is no number is as it was, too

    bool is_as_seen(std::size_t first_row, std::size_t end_row) const;
    void see(std::size_t row_index);
    double hours_of(std::size_t row_index) const;

    std::array<std::array<double, TEMP_BANDS>, VOLT_BANDS> weights_{};  // of an hour in each bucket
    std::array<row_bytes, VOLT_BANDS> seen_{};                          // the table as it was last read
    std::array<double, VOLT_BANDS> row_h_{};                            // what each row of it brings
    std::size_t changed_row_ = 0;  // the last one that was seen to change
};

}  // namespace lab
