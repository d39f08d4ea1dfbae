// results: the rows of a fleet in an SQLite file, of a part or of the whole (docs/fleet.md, "Results").
//
// Format "vorn-lab/fleet/1". A file is complete when its table `meta` says so: the number of rows and a digest of each
// table, which are looked at again by whoever relies on it. Columns may be added, none changes its meaning.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "lab/compare/identity.h"
#include "lab/fleet/database.h"
#include "lab/fleet/phone_row.h"

namespace lab {

inline constexpr std::string_view FLEET_SCHEMA = "vorn-lab/fleet/1";

// What two results must have in common to be parts of one fleet.
struct fleet_identity {
    build_identity build;
    std::string population;  // digest of its text and settings

    bool operator==(const fleet_identity& other) const {
        return build.daemon == other.build.daemon && build.lab == other.build.lab &&
               population == other.population;
    }
};

// Phones, both ends included.
struct phone_range {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    bool operator==(const phone_range&) const = default;
};

class results {
  public:
    // Creates the tables where the file has none. Only one process at a time may have it.
    results(const std::string& file, const population& of, const fleet_identity& identity, phone_range about);
    // Of a file there is; `must_be_complete`: throws input_error when its content is not what it says.
    explicit results(const std::string& file);

    void add(const phone_row& row);
    std::vector<std::uint64_t> numbers();  // of the phones there, in order

    // All phones are there: writes what makes the file complete.
    void complete();
    bool is_complete();  // by looking at the content

    fleet_identity identity();
    phone_range about();
    std::uint64_t count();
    // All rows, in the order of their numbers.
    void each(const std::function<void(phone_row)>& take);
    phone_row row(std::uint64_t number);  // throws input_error when there is none
    std::vector<std::string> group_columns() const { return groups_; }
    std::vector<std::string> drawn_columns() const { return drawn_; }

    database& file() { return file_; }

  private:
    std::string meta(const std::string& key);
    void set_meta(const std::string& key, const std::string& value);
    void create(const population& of, const fleet_identity& identity, phone_range about);
    void read_columns();
    phone_row row_at(query& phones);
    std::string digest_of(const std::string& table);

    database file_;
    std::vector<std::string> groups_, drawn_;
};

}  // namespace lab
