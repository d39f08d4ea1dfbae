// Values of state fields as people and programs read them, and as they are written on the command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "lab/state/stored_state.h"

namespace lab {

// The value at `place`, as text that reads back; nothing when the file does not hold it.
std::optional<std::string> value_text(const stored_file& file, const state_place& place);

// Whether the daemon takes such a value as it is, by the field's range alone. NaN counts as taken, as it does
// for the daemon.
bool is_in_range(const state_place& place, std::string_view text);

// What the daemon does with a NaN in the stress table, a sentence that goes on after "the daemon".
inline constexpr std::string_view NAN_EFFECT = "lets it pass, and the stress hours read 0 for good";

// What it does with a saved time that has not come yet, likewise.
inline constexpr std::string_view FUTURE_EFFECT = "counts no time off, and asks again every hour, until then";

// What it does with a value that it does not take for what it says, likewise; empty for another one.
std::string_view value_effect(const state_place& place, std::string_view text);

// A value as given by a user: a decimal number in the range of the field's type; for last_datetime also
// "2026-01-01T00:00:00Z". The text that set_state_field() takes, or nothing.
std::optional<std::string> read_value(const state_place& place, std::string_view text);

// What read_value() takes for the field: "a whole number from 0 to 255".
std::string words_for_values(const state_place& place);

// Seconds since 1970 as "2026-01-01T00:00:00Z"; nothing outside the years 0 to 9999.
std::optional<std::string> utc_text(std::int64_t time_s);

// Whether the field is a time since 1970.
bool is_time(const state_place& place);

// Whether it is a time that has not come yet, by this machine's clock. The daemon counts no time off until then.
bool is_in_future(const state_place& place, std::string_view text);

// Whether the daemon makes something else of the file than what should be in it. A missing file is none.
bool is_damaged(const stored_file& file);

// What the daemon does with a file that is not whole, a sentence that goes on after "the daemon"; empty for
// a whole one. `number` is what the daemon reads from a 4-byte file.
std::string daemon_effect(const stored_file& file, std::int32_t number);

}  // namespace lab
