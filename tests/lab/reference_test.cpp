#include "lab/reference.h"

#include <gtest/gtest.h>

#include "lab/input_file.h"

namespace {

// What follows the marker in the document, up to its end.
std::string made_part(const std::string& document, const std::string& marker) {
    const std::string text = lab::read_file(std::string(VORN_SOURCE_DIR) + "/docs/" + document);
    const std::size_t at = text.find(marker);
    return at == std::string::npos ? "no marker: " + marker : text.substr(at + marker.size());
}

std::string without_last_blank_line(std::string text) {
    text.pop_back();
    return text;
}

}  // namespace

TEST(Reference, IsWhatTheDocumentsHold) {
    EXPECT_EQ(made_part("metrics.md", "<!-- made by: vorn-lab metrics --list -->\n"),
              without_last_blank_line(lab::metrics_reference()))
        << "replace everything below the marker by the output of that command";
    EXPECT_EQ(made_part("state-files.md", "<!-- made by: vorn-lab state fields -->\n"),
              without_last_blank_line(lab::state_reference()))
        << "replace everything below the marker by the output of that command";
}
