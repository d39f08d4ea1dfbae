// A device's story as text for a person and as JSON for programs.
#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "lab/evidence/evidence_story.h"

namespace lab {

struct story_words {
    bool shows_routine = false;
    bool shows_places = false;  // after each decision the line that shows it
};

// Head, decisions, what the device holds. Says nothing of how the evidence was packed, so that every packing of it
// gives the same text.
void print_evidence(std::ostream& out, const dossier& evidence, const evidence_story& told, story_words how);

// What was read, what in part, and what was passed over: one line each.
std::string sources_text(const dossier& evidence);

nlohmann::ordered_json evidence_json(const dossier& evidence, const evidence_story& told);

// What a device is like now, and how bad that is: for a list of many.
struct device_state {
    std::string words;  // "4350 mV, 12234 stress hours, charging stopped by charge timer"
    std::int64_t badness = 0;
};
device_state state_at_end(const dossier& evidence, const evidence_story& told);

// "main.txt:123".
std::string place_text(const dossier& evidence, place at);
// The same of what shows a decision, with the line's name in docs/log.md: "main.txt:123 (toc.published)".
std::string source_text(const dossier& evidence, const told_decision& of);

}  // namespace lab
