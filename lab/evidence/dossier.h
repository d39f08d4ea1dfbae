// Everything that is known of one device: what its evidence holds, from where, and what is missing.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lab/evidence/archive_walk.h"
#include "lab/evidence/device_log.h"
#include "lab/io/input_file.h"
#include "lab/session/course.h"

namespace lab {

enum class source_state : std::uint8_t {
    read,
    in_part,
    empty,
    foreign
};  // foreign: nothing of the daemon in it

struct source {
    std::string name;   // the way to it below the input; personal parts as tokens
    std::string holds;  // "log", "state file", "trace", ...; empty when foreign
    source_state state = source_state::read;
    std::string why;          // it was read in part only
    std::uint64_t lines = 0;  // of the daemon, in a log
    std::string note = {};    // what its name promised and its bytes are not: "text in a .zip: taken as text"
};

// A file with rows or events, kept in memory.
struct sourced_file {
    input_file file;
    std::uint32_t source = 0;
};

struct dossier {
    std::string input;            // as given by the user; several separated by ", "
    std::vector<source> sources;  // but for the empty and the foreign ones, which are only counted
    std::uint64_t empty_sources = 0;
    std::uint64_t foreign_sources = 0;
    std::string looks_like;  // the last of the foreign ones, and what to do with it
    device_log log;
    device_image image;                       // state files and properties of a pulled root
    std::map<std::string, place> image_from;  // by path, or name of a property
    std::optional<sourced_file> trace;
    std::optional<sourced_file> events;
    std::optional<sourced_file> series;
    std::vector<std::string> contradictions;

    bool is_empty() const;  // nothing of the daemon is in it
    // Sources that were read in part, or not at all although they should have been.
    std::uint64_t troubles() const;
};

// Adds what was found in another part of the same device's evidence.
void absorb_evidence(dossier& into, dossier&& other);

using evidence_progress = archive_walk::progress_handler;

// Adds what an input holds. Throws input_error when the input itself cannot be opened.
void read_evidence(const std::string& input, dossier& into, const evidence_progress& progress = {},
                   walk_limits limits = {});

// The same of bytes that are there already.
void read_evidence(const std::string& name, byte_stream& content, dossier& into, walk_limits limits = {});

// What a name may show of people and devices: mail addresses, serials and long numbers as tokens, the same one for
// the same text.
std::string without_personal(const std::string& text);

}  // namespace lab
