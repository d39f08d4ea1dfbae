#include "lab/compare/expected_causes.h"

#include <algorithm>
#include <sstream>

#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/scenario/toml_file.h"

namespace lab {

namespace {

std::vector<std::string> keys_of(const build_comparison& found) {
    std::vector<std::string> keys;
    for (const auto* list : {&found.open, &found.closed}) {
        for (const cause& each : *list) keys.push_back(each.key);
    }
    return keys;
}

std::string needed(toml_section& from, std::string_view key) {
    const auto text = from.text(key);
    if (!text || text->empty()) from.fail("needs " + std::string(key));
    return *text;
}

}  // namespace

std::vector<expected_cause> read_expected(const std::string& file) {
    const toml::table table = parse_toml(read_file(file), file);
    toml_section top(file, table, "");
    std::vector<expected_cause> all;
    for (toml_section& each : top.tables("difference")) {
        all.push_back({needed(each, "key"), needed(each, "reason")});
        each.finish();
    }
    top.finish();
    return all;
}

void hold_against(const std::vector<expected_cause>& expected, build_comparison& found) {
    found.has_expected = true;
    const std::vector<std::string> keys = keys_of(found);
    for (const std::string& key : keys) {
        const bool is_known = std::any_of(expected.begin(), expected.end(),
                                          [&](const expected_cause& each) { return each.key == key; });
        if (!is_known) found.unexpected.push_back(key);
    }
    for (const expected_cause& each : expected) {
        if (std::find(keys.begin(), keys.end(), each.key) == keys.end())
            found.missing.push_back(each.key + " (" + each.reason + ")");
    }
}

std::string accepted_text(const std::vector<expected_cause>& before, const build_comparison& found,
                          const std::string& reason, std::vector<std::string>& accepted) {
    std::ostringstream text;
    text << "# Differences that are meant, from vorn-lab diff --accept.\n";
    for (const std::string& key : keys_of(found)) {
        const auto known = std::find_if(before.begin(), before.end(),
                                        [&](const expected_cause& each) { return each.key == key; });
        const bool is_new = known == before.end();
        if (is_new) accepted.push_back(key);
        toml::table one{{"key", key}, {"reason", is_new ? reason : known->reason}};
        text << "\n[[difference]]\n" << one << '\n';
    }
    return text.str();
}

}  // namespace lab
