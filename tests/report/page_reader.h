// Takes a report's page apart again: the run's JSON and the samples' columns.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace test {

struct read_page {
    nlohmann::json run;
    std::map<std::string, std::vector<std::int64_t>> columns;

    // The log's lines, put together again.
    std::vector<std::string> lines() const;
};

// Throws std::runtime_error when the page is not as lab/report/page.h says.
read_page take_apart(const std::string& html);

// The bytes behind lab::pack.
std::string unpack(const std::string& packed);

}  // namespace test
