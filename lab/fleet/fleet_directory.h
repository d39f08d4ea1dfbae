// fleet_directory: where a fleet's results grow, whatever machine works on them (docs/fleet.md, "The directory").
//
//     DIR/fleet.json           what the fleet is: build, settings, number of phones; nothing else may go on in it
//     DIR/population.toml      the population's text as it was at the start
//     DIR/files/0-hours.csv    and the files that it names
//     DIR/parts/0-99.sqlite    a complete part; one that is being written ends in .work
//     DIR/fleet.sqlite         all parts joined
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/fleet/population.h"
#include "lab/fleet/results.h"

namespace lab {

struct fleet_wishes {
    std::string population;             // a file; empty: the directory's own
    std::vector<std::string> settings;  // KEY=VALUE for all phones
    std::uint64_t phones = 0;           // 0: as before, or as the population says
    std::uint64_t parts = 0;            // that it is cut into; 0: as before
};

class fleet_directory {
  public:
    // Freezes the population at the first call for a directory, which it makes. Later ones must be for the same text,
    // settings and build; only the number of phones may grow. Throws input_error.
    fleet_directory(std::string path, const fleet_wishes& wishes);
    // Opens one there is, whatever build it is of.
    explicit fleet_directory(std::string path);

    const population& phones() const { return population_; }
    const std::string& path() const { return path_; }
    const fleet_identity& identity() const { return identity_; }
    std::uint64_t count() const { return count_; }
    std::uint64_t parts() const { return parts_; }

    std::string joined() const { return path_ + "/fleet.sqlite"; }
    std::string part_file(phone_range of) const;
    std::string work_file(phone_range of) const;

    // Files of results that are complete by their content: the joined one, then parts with phones of `within` by their first
    // phone. The others are not opened: of a thousand tasks each would otherwise read what all have written. Throws
    // input_error for one of another build or population, and for one that is damaged.
    std::vector<std::string> complete_files(phone_range within) const;
    std::vector<std::string> complete_files() const { return complete_files({0, UINT64_MAX}); }
    std::vector<phone_range> begun() const;  // parts that are being written, or were when something ended it
    // Phones of `within` that no complete file has, cut where a part was begun.
    std::vector<phone_range> missing(phone_range within) const;
    phone_range range_of_part(std::uint64_t part, std::uint64_t parts) const;  // counted from 1

    // Refuses what another program began; the program that runs must be the one that began it.
    void require_this_build() const;

  private:
    void read();
    void freeze(const fleet_wishes& wishes);
    void write_facts() const;

    std::string path_;
    std::string text_;  // of the population
    std::vector<std::string> settings_;
    fleet_identity identity_;
    std::uint64_t count_ = 0;
    std::uint64_t parts_ = 0;
    population population_;
};

// A file, whole or not at all. Throws input_error.
void write_whole(const std::string& path, const std::string& text);

// A file or directory has reached the disk. Throws input_error.
void sync_to_disk(const std::string& path);

// The joined results of a directory. Throws input_error when there are none, and says what to do.
results joined_results(const std::string& directory);

}  // namespace lab
