#include "lab/metrics/log_scanner.h"

#include <algorithm>
#include <gmock/gmock.h>

#include "tests/lab/metrics/sample_records.h"

using lab::metrics::found_record;
using lab::metrics::log_scanner;
using lab::metrics::verdict;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Feeds `log` in blocks of at most `block_size` and tells each find as "line time pid record".
std::vector<std::string> scan(std::string_view log, std::size_t block_size = 1 << 20,
                              std::size_t buffer_size = log_scanner::LEAST_BUFFER_SIZE) {
    std::vector<std::string> finds;
    log_scanner scanner(
        [&](const found_record& found) {
            std::string text = std::to_string(found.line) + " " + std::string(found.origin.time) + " " +
                               std::string(found.origin.pid) + " ";
            if (found.is_event)
                text += std::to_string(found.boot) + "/" + std::to_string(found.elapsed_s) + " ";
            if (found.record.schema != nullptr) text += found.record.schema->name;
            if (found.record.result != verdict::good) text += " " + std::string(words(found.record.result));
            finds.push_back(text);
        },
        buffer_size);
    while (!log.empty()) {
        const auto space = scanner.space();
        EXPECT_GT(space.size(), 0U);
        const std::size_t count = std::min({space.size(), block_size, log.size()});
        std::copy_n(log.data(), count, space.data());
        scanner.filled(count);
        log.remove_prefix(count);
    }
    scanner.finish();
    return finds;
}

std::string topoff() {
    return test::sample_records()[17].text;  // topoff_set
}

}  // namespace

TEST(LogScanner, KnowsEveryFormOfLogcat) {
    const struct {
        const char* before;
        const char* after;
        const char* find;
    } forms[] = {
        {"", "", "1   "},
        {"W/vorn    (  123): ", "", "1  123 "},
        {"W/vorn    ( 1000:  123): ", "", "1  123 "},
        {"M8/vorn    (  123): ", "", "1  123 "},
        {"W/vorn    : ", "", "1   "},
        {"W(  123) ", "  (vorn)", "1  123 "},
        {"W(  123:  456) ", "", "1  123 "},
        {"01-02 03:04:05.678 W/vorn    (  123): ", "", "1 01-02 03:04:05.678 123 "},
        {"01-02 03:04:05.678   123   456 W vorn    : ", "", "1 01-02 03:04:05.678 123 "},
        {"01-02 03:04:05.678  1000   123   456 W vorn(8) : ", "", "1 01-02 03:04:05.678 123 "},
        {"2026-01-02 03:04:05.678901 +0100   123   456 W vorn    : ", "",
         "1 2026-01-02 03:04:05.678901 +0100 123 "},
        {"   1767225600.678   123   456 W vorn    : ", "", "1 1767225600.678 123 "},
        {"\x1b[38;5;166m01-02 03:04:05.678   123   456 W vorn    : ", "\x1b[0m", "1 01-02 03:04:05.678 123 "},
        {"01-02 03:04:05.678   123   456 W vorn    : ", "\r", "1 01-02 03:04:05.678 123 "},
        {"a line before\n[ 01-02 03:04:05.678   123:  456 W/vorn ]\n", "\n", "3 01-02 03:04:05.678 123 "},
        {"a line before\nnot a header ]\n", "", "3   "},
        {"Jan  2 03:04:05 host logcat: ", "", "1   "},
    };
    for (const auto& form : forms) {
        for (const char* end : {"", "\n", "\nnext line\n"}) {
            EXPECT_THAT(scan(form.before + topoff() + form.after + end),
                        ElementsAre(std::string(form.find) + "topoff_set"))
                << form.before;
        }
    }
}

TEST(LogScanner, ReadsTheLabsEvents) {
    const std::string text = topoff();
    const std::string log =
        R"({"boot":1,"elapsed":0,"event":"log","priority":6,"tag":"vorn","text":"about lx6wwu6k:\n"})"
        "\n"
        R"({"boot":2,"elapsed":70,"event":"metric","buffer":8,"priority":5,"tag":"vorn","text":")" +
        text +
        "\"}\n"
        R"( {"boot": 2})"
        "\n"
        R"({"text": ")" +
        text + R"(", "elapsed": 80, "boot": -3, "event": "metric"})" + "\n" +
        R"({"text": 5, "event": "metric", "note": "lx6wwu6k"})" + "\n" +
        R"({"boot":2,"elapsed":90,"event":"metric","buffer":8,"priority":5,"tag":"vorn","text":")" +
        text.substr(0, text.size() - 9);
    EXPECT_THAT(scan(log), ElementsAre("2   2/70 topoff_set", "4   -3/80 topoff_set", "6   topoff_set cut"));
}

TEST(LogScanner, TellsWhatItCannotRead) {
    const std::string text = topoff();
    EXPECT_THAT(scan(text.substr(0, 60) + text), ElementsAre("1   topoff_set cut", "1   topoff_set"))
        << "two records torn into one line";
    EXPECT_THAT(scan(text + " and more"), ElementsAre("1   topoff_set bad envelope"));
    EXPECT_THAT(scan("grep lx6wwu6k\n"), ElementsAre("1    cut"));
    EXPECT_THAT(scan("no records here\n\n"), IsEmpty());
    EXPECT_THAT(scan(""), IsEmpty());
}

// Lines of all lengths, records among them, cut into blocks at every place: the finds stay the same.
TEST(LogScanner, DoesNotMindHowTheLogIsCutIntoBlocks) {
    std::string log = "[ 01-02 03:04:05.678   123:  456 W/vorn ]\n" + topoff() + "\n";
    for (std::size_t length = 0; length < 40; ++length) log += std::string(length * length, 'x') + "\n";
    for (const test::sample_record& sample : test::sample_records())
        log += "W/vorn    (  123): " + sample.text + "\n";
    // Around the length from which a header is not kept whole from one block to the next.
    for (std::size_t padding = 200; padding < 240; ++padding)
        log += "[ 01-02 03:04:05.678   123:  456 W/" + std::string(padding, 'v') + " ]\n" + topoff() + "\n";
    const auto expected = scan(log);
    ASSERT_EQ(expected.size(), 65U);
    for (std::size_t block_size = 1; block_size < 3000; block_size += block_size / 7 + 1)
        EXPECT_EQ(scan(log, block_size), expected) << block_size;
}

TEST(LogScanner, FindsRecordsInALineLongerThanItsBuffer) {
    constexpr std::size_t buffer = log_scanner::LEAST_BUFFER_SIZE;
    const std::string text = topoff();
    for (std::size_t before = buffer - 2 * text.size() - log_scanner::LONGEST_RECORD; before < 2 * buffer;
         before += 61) {
        const std::string line = std::string(before, '\0') + text + "\n";
        EXPECT_THAT(scan("one\n" + line + std::string(3 * buffer, 'x') + "\n" + text),
                    ElementsAre("2   topoff_set", "4   topoff_set"))
            << before;
    }
}
