// kept_runs: results of runs in a folder, each in a file whose name says all that the result depends on.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lab/compare/digest.h"
#include "lab/compare/identity.h"
#include "lab/compare/run_result.h"
#include "lab/scenario/scenario.h"

namespace lab {

// What a result depends on: the build's code and all that is added after it.
digest run_digest(const build_identity& build);

// A scenario read from `text` with these settings, and what it takes from other files.
void add_scenario(digest& to, const std::string& text, const scenario& read,
                  const std::vector<std::string>& settings);

class kept_runs {
  public:
    // Makes the folder; an empty name keeps nothing. Throws input_error when it cannot be made.
    explicit kept_runs(std::string folder);

    bool is_on() const { return !folder_.empty(); }
    // Throws input_error for a file that is no result.
    std::optional<run_result> find(const digest& of) const;
    // The file is there as a whole or not at all. Throws input_error when it cannot be written.
    void keep(const digest& of, const run_result& result) const;

  private:
    std::string file_of(const digest& of) const { return folder_ + "/" + of.hex() + ".json"; }

    std::string folder_;
};

}  // namespace lab
