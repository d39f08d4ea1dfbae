// The story of a device, from whatever it left.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "lab/evidence/dossier.h"
#include "lab/evidence/log_timeline.h"
#include "lab/evidence/replay_proof.h"
#include "lab/session/listener.h"
#include "lab/story/decision.h"

namespace lab {

struct told_decision {
    decision what;
    std::optional<place> at;  // the line that shows it
    std::string_view
        line_id;  // of that line (log_table.h); empty: it is none of the daemon's own, as a record
};

struct evidence_story {
    std::string
        origin;  // what it was told from: "log", "events", "replay"; empty when nothing tells of decisions
    std::string clock;  // which clock the times are of, and why
    bool has_year = true;
    std::vector<told_decision> decisions;
    std::vector<std::string> missing;  // "no samples: curves are missing"
    std::vector<std::string> contradictions;
    std::optional<replay_proof> proof;  // where there are a log and a trace
};

// Who hears the story besides.
struct story_audience {
    std::vector<listener*> listeners;
    std::function<void(const told_decision&)> on_decision;  // at once, when the listeners have come as far
    bool has_curves = false;  // they want samples: a trace goes before a log that it agrees with
};

// Tells it, with `zone` in force. Of a log, or of events, or by running the daemon over the trace, in this order. Throws
// input_error for a table that is damaged.
evidence_story tell_evidence(const dossier& evidence, const log_timeline& timeline, const device_zone& zone,
                             const story_audience& audience = {});

// A moment of the story as a person reads it; "day unknown" where it is.
std::string moment_text(const evidence_story& evidence, std::int64_t real_time_s);
// The times within a sentence likewise.
std::string with_moments(const evidence_story& evidence, std::string sentence);

}  // namespace lab
