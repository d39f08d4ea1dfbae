// State files as they lie in a directory of the host, whatever their condition.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/state/state_layout.h"

namespace lab {

enum class file_condition : std::uint8_t {
    whole,
    longer,  // than its record: only the first bytes count
    shorter,
    not_read,    // opens, but cannot be read
    not_opened,  // is there, but cannot be opened
    missing,
};

// "whole", "too long", ...
std::string_view words(file_condition condition);

struct stored_file {
    const state_file* kind = nullptr;
    std::string path;        // on the host: where it is, or would be
    bool is_former = false;  // it lies only where an earlier layout had it
    file_condition condition = file_condition::missing;
    std::string error;       // why it was not read or opened
    std::uint64_t size = 0;  // bytes on the host
    std::string bytes;       // the first of them, at most the record's size
};

struct stored_state {
    std::string source;                      // as given by the user
    std::vector<stored_file> files;          // in the order of the layout
    std::optional<std::string> mock_offset;  // what the test file with the stress offset holds
};

// Reads `path`: a device root (docs/formats.md) or a directory that directly holds state files, of which
// every kind is listed; or one state file, known by its name, or by its length when it comes through a pipe ("-" is
// standard input). Throws input_error when it is none of these.
stored_state read_stored_state(const std::string& path);

// Where a directory's file of that kind belongs: for a file that is to be written.
std::string state_file_path(const std::string& directory, const state_file& kind);

}  // namespace lab
