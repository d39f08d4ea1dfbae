// Whether the daemon that ships decides over a device's samples what the device's log says that it decided.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/evidence/log_timeline.h"

namespace lab {

struct replay_proof {
    std::uint64_t logged = 0;     // decisions in the log while the trace was recorded
    std::uint64_t as_logged = 0;  // of them, those before the first that differs
    bool is_proven() const { return as_logged == logged && first_difference.empty(); }
    std::string first_difference;             // when, what was logged, what the replay came to
    std::vector<std::string> likely_reasons;  // of it
};

// Runs the daemon over the trace, from the pulled files as they were at its begin, and compares records, voltages,
// stops and reboots with the logged ones, word for word. Nothing where trace or log is missing. To be called with
// the device's zone in force.
std::optional<replay_proof> prove_by_replay(const dossier& evidence, const log_timeline& timeline);

// "41 of 41 decisions as logged", or where they part and why.
std::string proof_text(const replay_proof& proof);

}  // namespace lab
