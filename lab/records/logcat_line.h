// Where a line of a log comes from, in any of logcat's forms.
//
//   brief       W/vorn    (  123): text              tag        W/vorn    : text
//   process     W(  123) text  (vorn)                thread     W(  123:  123) text
//   time        01-02 03:04:05.678 W/vorn    (  123): text
//   threadtime  01-02 03:04:05.678   123   123 W vorn    : text
//   long        [ 01-02 03:04:05.678   123:  123 W/vorn ]   and the text on the next line
//   raw         text
//   linux       M8/vorn    (  123): text             vorn on a plain Linux host
//
// Each also with logcat's modifiers: year, zone, usec, epoch, monotonic, uid, color.
#pragma once

#include <string_view>

namespace lab {

struct log_origin {
    std::string_view time;  // as found, date included; empty when the form has none
    std::string_view pid;   // digits; empty when the form has none
};

// From what stands before the text.
log_origin read_prefix(std::string_view prefix);

// From the line before a text that has no prefix; empty unless that line is a header of the long form.
log_origin read_long_header(std::string_view line);

// The text without what a form puts after it: a carriage return, the end of a colour.
std::string_view without_line_tail(std::string_view text);

// Whether `rest`, which follows a whole record, is what the process form puts there.
bool is_process_tail(std::string_view rest);

}  // namespace lab
