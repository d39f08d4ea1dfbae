#include "lab/recordings/from_files.h"

#include <cstring>
#include <string_view>

#include "lab/io/time_text.h"

namespace lab {

namespace {

constexpr std::string_view TIME_FILE = "/last_datetime";

class teller {
  public:
    teller(event_reader events, const boot_clocks& clocks, const std::vector<listener*>& listeners)
        : events_(std::move(events)), clocks_(clocks), listeners_(listeners) {
        advance();
    }

    // The events of this cycle, and of the start-up before it, then the cycle.
    void tell(cycle& now) {
        if (now.real_time_s == 0) now.real_time_s = clocks_.real_time_s(now.boot, now.elapsed_s);
        // Known before its events are told, which carry no wall clock of their own.
        last_ = now.real_time_s;
        while (has_next_ && next_.boot == now.boot &&
               (next_.elapsed_s == now.elapsed_s || next_.elapsed_s == 0)) {
            tell_event();
        }
        for (listener* each : listeners_) each->on_cycle(now);
    }

    // What came after the last cycle.
    void tell_rest() {
        while (has_next_) tell_event();
    }

  private:
    void advance() { has_next_ = events_.next(next_); }

    void tell_event() {
        next_.real_time_s = last_;
        for (listener* each : listeners_) each->on_event(next_);
        advance();
    }

    event_reader events_;
    const boot_clocks& clocks_;
    const std::vector<listener*>& listeners_;
    event next_;
    bool has_next_ = false;
    std::int64_t last_ = 0;  // wall clock of the last cycle
};

}  // namespace

boot_clocks::boot_clocks(event_reader& events) {
    for (event each; events.next(each);) {
        std::int64_t written_s = 0;
        if (each.kind != event_kind::write || !each.name.ends_with(TIME_FILE)) continue;
        if (each.text.size() != sizeof written_s) continue;
        std::memcpy(&written_s, each.text.data(), sizeof written_s);
        if (written_s >= CLOCK_SET_SINCE_S) start_s_.try_emplace(each.boot, written_s - each.elapsed_s);
    }
    events.rewind();
}

std::int64_t boot_clocks::real_time_s(std::int64_t boot, std::int64_t elapsed_s) const {
    const auto found = start_s_.find(boot);
    return found == start_s_.end() ? 0 : found->second + elapsed_s;
}

void tell_from_files(event_reader events, series_reader series, const boot_clocks& clocks,
                     const std::vector<listener*>& listeners) {
    teller to(std::move(events), clocks, listeners);
    for (cycle now; series.next(now); now = {}) to.tell(now);
    to.tell_rest();
}

}  // namespace lab
