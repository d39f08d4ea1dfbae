#include "platform/linux/repeated_lines.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "platform/android_log.h"

namespace repeated_lines {
namespace {

constexpr char TAG[] = "vorn";
constexpr int LINES = 32;        // more different ones in a cycle are all written
constexpr int TEXT_SIZE = 1024;  // the longest line

struct line {
    char text[TEXT_SIZE];
    std::uint32_t held_back;  // cycles in which it was not written
    bool was_before;          // in the cycle before this one
    bool is_here;             // in this cycle
};

struct {
    line lines[LINES];  // one without text is free
} s;

bool is_free(const line& each) {
    return each.text[0] == '\0';
}

line* find(const char* text) {
    const auto found = std::find_if(std::begin(s.lines), std::end(s.lines),
                                    [&](const line& each) { return strcmp(each.text, text) == 0; });
    return found == std::end(s.lines) ? nullptr : found;
}

void note_first(const char* text) {
    const auto place = std::find_if(std::begin(s.lines), std::end(s.lines), is_free);
    if (place == std::end(s.lines)) return;
    strncpy(place->text, text, TEXT_SIZE - 1);
    place->is_here = true;
}

// Past its cycle, a line either waits for the next one or is over.
void end_cycle_of(line& each) {
    if (each.is_here) {
        each.was_before = true;
        each.is_here = false;
        return;
    }
    const line over = each;
    each = {};
    if (over.held_back > 0)
        __android_log_print(ANDROID_LOG_INFO, TAG, "--- over, after %u cycles more: %s", over.held_back,
                            over.text);
}

}  // namespace

bool is_to_be_written(const char* text) {
    line* known = find(text);
    if (known == nullptr) {
        note_first(text);
        return true;
    }
    if (known->was_before && !known->is_here) known->held_back += 1;
    known->is_here = true;
    return !known->was_before;
}

void end_cycle() {
    for (line& each : s.lines) {
        if (!is_free(each)) end_cycle_of(each);
    }
}

}  // namespace repeated_lines
