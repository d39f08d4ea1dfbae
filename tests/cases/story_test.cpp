// Stories: what the daemon tells while a phone lives through some rows of a trace, as a reader should see it.
//
//     # Why the story is told.
//     zone Europe/Berlin                          the device before it starts: UTC unless said otherwise,
//     file /mnt/vendor/nvcfg/vorn/toc_clients 02  no files,
//     property persist.x=1                        no properties
//     show topoff toc_mv                          told is what has one of these in it; columns by their name
//     > status=Charging, x3                       rows: what changes, how many, how far apart (+600; 10 s)
//     20 set persist.vendor.vorn.toc=4400         elapsed seconds, and what came of it
//     > boot                                      the first row of another boot
//
// VORN_UPDATE_CASES=1 in the environment writes what comes out today into them: read it before you keep it.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

#include "lab/io/input_file.h"
#include "tests/support/replay.h"
#include "tests/support/transcript.h"

namespace {

namespace fs = std::filesystem;

const fs::path FOLDER = VORN_SOURCE_DIR "/tests/cases/stories";

using lines = std::vector<std::string>;

std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t to = std::min(text.find(separator, from), text.size());
        if (to > from) parts.push_back(text.substr(from, to - from));
        from = to + separator.size();
    }
    return parts;
}

class story {
  public:
    explicit story(const fs::path& path) {
        std::istringstream text(lab::read_file(path));
        for (std::string line; std::getline(text, line);) take(line);
    }

    const lines& expected() const { return expected_; }
    lines found() const {
        test::transcript heard(test::transcript::records::named);
        test::replay(rows_.csv(), start_, {&heard});
        lines all = head_;
        std::size_t next = 0;
        for (const step& each : steps_) {
            all.push_back(each.text);
            for (; next < heard.lines().size() && heard.lines()[next].row < each.rows_so_far; ++next) {
                const std::string told = shown(heard.lines()[next].text);
                if (!told.empty()) all.push_back(told);
            }
        }
        return all;
    }

  private:
    struct step {
        std::string text;
        std::size_t rows_so_far;
    };

    void take(const std::string& line) {
        expected_.push_back(line);
        if (line.starts_with("> ")) {
            take_rows(line.substr(2));
            steps_.push_back({line, row_count_});
            return;
        }
        if (!steps_.empty()) {  // what came out, or a remark
            if (line.starts_with("#")) steps_.push_back({line, row_count_});
            return;
        }
        head_.push_back(line);
        if (line.starts_with("zone ")) {
            start_.time_zone = line.substr(5);
        } else if (line.starts_with("show ")) {
            show_ = split(line.substr(5), ", ");
        } else if (!line.starts_with("#") && !test::take_line(line, start_.start)) {
            throw std::runtime_error("not a line of a story: " + line);
        }
    }

    void take_rows(const std::string& said) {
        int count = 1;
        std::int64_t apart_s = 10;
        bool is_boot = false;
        test::trace_rows::cells changes;
        for (const std::string& word : split(said, ", ")) {
            const std::size_t equals = word.find('=');
            if (equals != word.npos) {
                changes[word.substr(0, equals)] = word.substr(equals + 1);
            } else if (word == "boot") {
                is_boot = true;
            } else if (word[0] == '+') {
                apart_s = std::stoll(word.substr(1));
            } else if (word[0] == 'x') {
                count = std::stoi(word.substr(1));
            } else if (word != "row") {
                throw std::runtime_error("not a word of a story: " + word);
            }
        }
        row_count_ += static_cast<std::size_t>(count);
        if (is_boot) rows_.next_boot(changes), --count;
        rows_.rows(count, apart_s, changes);
    }

    bool is_shown(const std::string& text) const {
        return std::ranges::any_of(show_,
                                   [&](const std::string& part) { return text.find(part) != text.npos; });
    }

    // "1:30 | a=1 b=2" as "30 | b=2", an event as it is; empty when nothing of it is to be shown.
    std::string shown(const std::string& told) const {
        std::string text = told.substr(told.find(':') + 1);
        const std::size_t bar = text.find(" |");
        const bool is_cycle = bar != text.npos && bar == text.find(' ');
        if (!is_cycle) return is_shown(text) ? text : "";
        std::string columns;
        for (const std::string& each : split(text.substr(bar + 2), " ")) {
            const bool is_named = std::ranges::find(show_, each.substr(0, each.find('='))) != show_.end();
            if (is_named) columns += " " + each;
        }
        return columns.empty() ? "" : text.substr(0, bar + 2) + columns;
    }

    test::replay_options start_;
    lines show_;
    lines head_;
    lines expected_;
    std::vector<step> steps_;
    std::size_t row_count_ = 0;
    test::trace_rows rows_;
};

std::vector<std::string> story_names() {
    lines names;
    for (const auto& entry : fs::directory_iterator(FOLDER)) names.push_back(entry.path().stem());
    std::ranges::sort(names);
    return names;
}

class Story : public testing::TestWithParam<std::string> {};

TEST_P(Story, IsToldAsItWas) {
    const fs::path path = FOLDER / (GetParam() + ".txt");
    const story read(path);
    const lines found = read.found();
    if (std::getenv("VORN_UPDATE_CASES") != nullptr) {
        std::ofstream file(path);
        for (const std::string& line : found) file << line << "\n";
        return;
    }
    test::expect_same_lines(found, read.expected(), "tests/cases/stories/" + GetParam() + ".txt", 1);
}

INSTANTIATE_TEST_SUITE_P(All, Story, testing::ValuesIn(story_names()),
                         [](const auto& of) { return of.param; });

}  // namespace
