// The layout of the state files: which fields stand where in which file, what they mean and what the daemon
// takes (docs/state-files.md, whose tables are made from this one).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

enum class field_type : std::uint8_t { u8, i32, i64, f32 };  // little-endian

struct state_field {
    std::string_view name;  // an array's elements are "name[row][column]"
    std::size_t offset;     // bytes
    field_type type;
    std::string_view unit;  // empty for counts, codes and flags
    std::int64_t least;     // the daemon takes least <= value <= greatest as it is
    std::int64_t greatest;  //
    std::string_view meaning;
    std::string_view otherwise;  // what the daemon does with any other value; empty when there is none
    std::size_t rows = 0;        // 0: not an array
    std::size_t columns = 0;
};

struct state_file {
    std::string_view name;  // the last part of the path
    std::string_view path;
    std::size_t size;  // bytes of a whole record
    std::string_view meaning;
    std::string_view when_missing;  // what the daemon does without the file, or when it cannot be opened
    std::string_view when_short;    // what the daemon does with a file that is too short or fails to be read
    std::array<state_field, 5> all_fields;
    std::size_t field_count;

    std::span<const state_field> fields() const { return {all_fields.data(), field_count}; }
};

// In the order of migration, then the two that the boot loader writes.
extern const std::array<state_file, 10> state_files;

// By name or by path; null for any other.
const state_file* find_state_file(std::string_view name_or_path);

// The value of a field such as "step" or "hours[8][6]", as text (shortest that reads back; "nan", "inf").
// Nothing when there is no such field, or the file is too short to hold it.
std::optional<std::string> state_field_text(const state_file& file, std::string_view bytes,
                                            std::string_view field);

// Sets a field, filling the file up with zero bytes. False, changing nothing, when there is no such field or
// the text is no number of its type.
bool set_state_field(const state_file& file, std::string& bytes, std::string_view field,
                     std::string_view text);

// A place in a file that holds one number: a field, or an element of an array.
struct state_place {
    const state_file* file = nullptr;
    const state_field* field = nullptr;
    std::size_t row = 0;  // of an array
    std::size_t column = 0;

    std::size_t offset() const;  // bytes
    std::size_t width() const;   // bytes
    // "dyn_soc_params.dcr_num"; the file's name alone where it has one field: "toc_clients",
    // "batt_stress[8][6]".
    std::string name() const;
    std::string field_name() const;  // "dcr_num", "step", "hours[8][6]"
};

// All places, in the order of the files; those of one file.
std::vector<state_place> state_places();
std::vector<state_place> state_places_of(const state_file& file);

// The place called so by state_place::name(), or as "toc_clients.step". Nothing for any other name.
std::optional<state_place> find_state_place(std::string_view name);

// As the two above.
std::optional<std::string> state_field_text(const state_place& place, std::string_view bytes);
bool set_state_field(const state_place& place, std::string& bytes, std::string_view text);

}  // namespace lab
