// level: the charge between two limit voltages at rest, which is what an estimator of such limits aims at.
//
//     0 %                                      100 %
//      |-----------------------x-----------------|       the level at x
//   rests at the bottom                rests at the top of charge
#pragma once

#include "lab/phone/cell.h"

namespace lab::phone {

class level_gauge {
  public:
    // 0 to 100 % of the charge between the states of charge at which the cell, at `temperature_c`, rests at
    // `bottom_mv` and at `top_mv`; `soc` is 0 to 1. The limits are found again after 0.5 °C or another voltage.
    double pct(const cell& battery, double soc, double temperature_c, double bottom_mv, double top_mv);

  private:
    double bottom_mv_ = 0, top_mv_ = 0, temperature_c_ = 0;  // for which the limits hold
    double empty_ = 0, full_ = 0;
};

}  // namespace lab::phone
