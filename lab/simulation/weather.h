// The air around the phone: outdoors as the seasons, the time of day and the weather of the day make it, or as a
// file of hours says; indoors held within what people live in; in a pocket as warm as the body makes it, and in a
// hand midway.
#pragma once

#include <cstdint>

#include "lab/phone/chance.h"
#include "lab/scenario/scenario.h"

namespace lab {

class weather {
  public:
    explicit weather(const scenario& plan);

    // Keeps for so long, from a multiple of it on.
    static constexpr std::int64_t SLOT_S = 600;

    // Of the air at that second, °C, where the conditions have the phone.
    double ambient_c(std::int64_t now_s, const conditions& now) const;

  private:
    double air_c(std::int64_t now_s, whereabouts where) const;
    double by_season_c(std::int64_t local_s) const;
    double by_file_c(std::int64_t local_s) const;

    const weather_parameters& of_;
    phone::chance_key chance_;
    std::int64_t local_start_s_;  // the wall clock at the start, as seconds since 1970
    std::int64_t year_start_s_;   // and at the beginning of that year
};

}  // namespace lab
