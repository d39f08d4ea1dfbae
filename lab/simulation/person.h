// The person whose phone it is: plugs it in when it runs low, on a whim, for the night and at work, looks at it,
// and carries it about. Decides once every ten minutes of the simulated time, by chance and by the level shown.
#pragma once

#include <cstdint>

#include "lab/phone/chance.h"
#include "lab/scenario/scenario.h"

namespace lab {

// What a person is about; crosses boots as bytes.
struct doings {
    phone::charger_kind session = phone::charger_kind::none;  // what a session of theirs is plugged into
    std::int64_t session_end_s = 0;
    std::int64_t decided_slot = -1;  // the last one in which a session could begin
    bool is_looking = false;         // the screen is on
    whereabouts where = whereabouts::indoors;
    phone::charger_kind charger = phone::charger_kind::none;
};

class person {
  public:
    explicit person(const scenario& plan);

    bool is_there() const { return of_.is_given; }
    // What they do from now on, with the level in % that the phone shows.
    doings decide(std::int64_t now_s, doings before, double shown_pct) const;
    // When they decide next.
    std::int64_t next_s(std::int64_t now_s, const doings& now) const;
    // What that makes of the phase's conditions.
    void apply(const doings& now, conditions& to) const;

  private:
    struct moment {
        std::int64_t slot;  // of ten minutes since the start
        std::int64_t day;   // local, since 1970; a night belongs to its evening
        double hour;        // local
        bool is_weekday;
    };

    moment moment_at(std::int64_t now_s) const;
    bool is_asleep(double hour) const;
    phone::charger_kind kind_by(double chance) const;
    bool wants_charger(const moment& at, double chance, double shown_pct) const;
    double screen_share(const moment& at) const;
    whereabouts where(const moment& at, const doings& now, bool asleep, double chance) const;

    const user_parameters& of_;
    phone::chance_key chance_;
    std::int64_t start_utc_s_;
    double waking_h_;
};

}  // namespace lab
