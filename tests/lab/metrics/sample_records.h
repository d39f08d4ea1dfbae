// One record of every kind, written by the daemon's own code with the extreme values of every type.
#pragma once

#include <string>
#include <vector>

namespace test {

struct sample_record {
    std::string name;                 // as in the index
    std::string text;                 // as it reaches the log
    std::vector<std::string> values;  // as they should be read back, the version left out
};

// All records, in the order of the index.
std::vector<sample_record> sample_records();

}  // namespace test
