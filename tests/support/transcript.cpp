#include "tests/support/transcript.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/support/effects.h"
#include "util/metrics.h"

namespace test {

namespace {

constexpr std::size_t LINES_BEFORE = 3;  // of a difference

constexpr char DIGITS[] = "0123456789abcdef";

std::string hex_of(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += DIGITS[static_cast<unsigned char>(byte) >> 4];
        text += DIGITS[static_cast<unsigned char>(byte) & 15];
    }
    return text.empty() ? "-" : text;
}

std::string bytes_of(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

// "group:schema:100:<the device's fields>own fields:region"
std::string without_envelope(std::string record) {
    static const std::string device = std::string(":100:") + METRICS_DEVICE_PREFIX;
    record.erase(record.rfind(':'));
    const std::size_t at = record.find(device);
    return at == record.npos ? record : record.replace(at, device.size(), " ");
}

std::string words_of(const lab::event& what, transcript::records form) {
    switch (what.kind) {
        case lab::event_kind::log: {
            std::string text = "log " + std::to_string(what.priority) + " " + what.text;
            if (text.ends_with('\n')) text.back() = '|';
            return what.name == "vorn" ? text : what.name + " " + text;
        }
        case lab::event_kind::metric: {
            const bool is_usual = what.buffer == 8 && what.priority == 5 && what.name == "vorn";
            const bool is_named = form == transcript::records::named;
            return (is_usual ? "record " : "odd record ") +
                   (is_named ? short_record(what.text) : without_envelope(what.text));
        }
        case lab::event_kind::property_set:
            return "set " + what.name + "=" + what.text;
        case lab::event_kind::write:
            break;
    }
    return "write " + what.name + " " + hex_of(what.text);
}

}  // namespace

void transcript::on_event(const lab::event& what) {
    const bool has_failed = what.kind != lab::event_kind::log && what.result < 0;
    lines_.push_back({cycles_, std::to_string(what.boot) + ":" + std::to_string(what.elapsed_s) + " " +
                                   words_of(what, form_) + (has_failed ? " failed" : "")});
}

void transcript::on_cycle(const lab::cycle& after) {
    std::string text = std::to_string(after.boot) + ":" + std::to_string(after.elapsed_s) + " |";
    for (std::size_t i = 0; i < lab::COLUMN_COUNT; ++i) {
        if (cycles_ > 0 && after.boot == previous_.boot && after.daemon[i] == previous_.daemon[i]) continue;
        text += " " + std::string(lab::column_names[i]) + "=" + std::to_string(after.daemon[i]);
    }
    lines_.push_back({cycles_++, text});
    previous_ = after;
}

std::vector<std::string> transcript::texts() const {
    std::vector<std::string> texts;
    for (const line& each : lines_) texts.push_back(each.text);
    return texts;
}

std::vector<std::string> lines_of(const lab::device_image& image) {
    std::vector<std::string> lines;
    for (const auto& [path, bytes] : image.files) lines.push_back("file " + path + " " + hex_of(bytes));
    for (const auto& [name, value] : image.properties) lines.push_back("property " + name + "=" + value);
    return lines;
}

bool take_line(const std::string& line, lab::device_image& image) {
    const std::size_t blank = line.rfind(' ');
    const std::size_t equals = line.find('=');
    if (line.starts_with("file /") && blank > 5) {
        image.files[line.substr(5, blank - 5)] = bytes_of(line.substr(blank + 1));
    } else if (line.starts_with("property ") && equals != line.npos) {
        image.properties[line.substr(9, equals - 9)] = line.substr(equals + 1);
    } else {
        return false;
    }
    return true;
}

void expect_same_lines(const std::vector<std::string>& found, const std::vector<std::string>& expected,
                       const std::string& file, std::size_t first_line) {
    const auto [in_found, in_expected] = std::ranges::mismatch(found, expected);
    if (in_found == found.end() && in_expected == expected.end()) return;
    const auto at = static_cast<std::size_t>(in_found - found.begin());
    std::string before;
    for (std::size_t i = at - std::min<std::size_t>(at, LINES_BEFORE); i < at; ++i)
        before += "    " + found[i] + "\n";
    ADD_FAILURE() << file << ":" << first_line + at << ": after\n"
                  << before << "expected\n    " << (at < expected.size() ? *in_expected : "nothing more")
                  << "\nfound\n    " << (at < found.size() ? *in_found : "nothing more");
}

}  // namespace test
