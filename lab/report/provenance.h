// provenance: what made a page, and from what, so that the page can be traced and made again.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace lab {

extern const std::string_view program_version;  // of the project, for example "1.0.0"
// The commit that the program was built from, with "-dirty" when files differed from it; empty when not known.
extern const std::string_view program_commit;

// What every JSON document begins with: {"schema", "program": {"version", "commit"}}. Keys may be added to a schema; what
// is there keeps its name and meaning, or the schema's number rises.
nlohmann::ordered_json document_head(std::string_view schema);
// And in words: "1.0.0 (commit 4211baeeb37f)".
std::string program_text();

// This process's own command as a shell would read it; empty when the system does not say.
std::string command_text();

// The SHA-256 of a file in hexadecimal, as sha256sum prints it; empty for what can be read only once (a pipe,
// standard input) or not at all.
std::string digest_text(const std::string& path);

// Today in UTC, "2026-03-02"; of SOURCE_DATE_EPOCH where that is set, so that a page can be made again to the byte.
std::string date_text();

}  // namespace lab
