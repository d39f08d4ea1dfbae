#include "lab/cli/manual.h"

#include <sstream>
#include <string_view>

#include "lab/cli/command_tree.h"
#include "lab/cli/help_format.h"

namespace lab {

namespace {

constexpr std::size_t LINE_WIDTH = 78;  // bytes

constexpr std::string_view HEAD = R"(.Dd November 22, 2026
.Dt VORN-LAB 1
.Os
.Sh NAME
.Nm vorn-lab
.Nd run vorn on a virtual device, and look into a real one
.Sh SYNOPSIS
)";

constexpr std::string_view DESCRIPTION = R"(.Sh DESCRIPTION
.Nm
runs the code of
.Xr vorn 8 ,
unmodified, on a device that exists in memory only,
and reads what a real device leaves behind.
.Fl -help
tells of every command, and
.Fl -version
which version this is.
)";

constexpr std::string_view TAIL = R"(.Sh ENVIRONMENT
.Bl -tag -width Ds
.It Ev TZ
The time zone in which
.Cm replay
runs the daemon and tells times, such as
.Dq Europe/Berlin ;
the machine\(aqs without it.
A scenario and a device\(aqs evidence have a zone of their own.
.It Ev TERM
With
.Dq dumb ,
no progress is shown.
.El
.Sh EXIT STATUS
.Bl -tag -width Ds
.It 0
Done, and the answer is yes.
.It 1
The answer is no: an expectation did not hold, the daemon crashed,
two states or two builds differ, a state file is damaged, a log has problems,
a device is not wired as the daemon expects.
.It 2
Trouble with what was given: bad usage, input that cannot be read,
output that cannot be written;
one line on standard error says what and where.
.It 3
There is no answer: a run that was to be compared did not come about,
or a fault of
.Nm
itself; the line says which, and of a fault in which boot and when.
.El
.Sh EXAMPLES
The records of a device's log:
.Dl adb logcat -b all -d | vorn-lab metrics
.Pp
Why a device charges to 4000 mV only:
.Dl adb pull /mnt/vendor/nvcfg/vorn
.Dl vorn-lab state show vorn
.Pp
A recording made on a device, replayed from its state:
.Dl adb push tools/capture.sh /data/local/tmp
.Dl adb shell sh /data/local/tmp/capture.sh > trace.csv
.Dl vorn-lab replay trace.csv --root device
.Sh SEE ALSO
.Xr vorn 8
)";

// Text that troff takes as it is.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '\\') {
            result += "\\e";
        } else if (c == '"') {
            result += "\\(dq";  // on a macro's line a bare one would only hold words together
        } else {
            result += c;
        }
    }
    return result.starts_with('.') || result.starts_with('\'') ? "\\&" + result : result;
}

// A description as a sentence, in lines of a source that people may read.
std::string sentence(const std::string& description) {
    std::istringstream lines(wrapped(description + ".", LINE_WIDTH));
    std::string result;
    for (std::string line; std::getline(lines, line);) result += escaped(line) + "\n";
    return result;
}

// A word of a macro line, which must not be taken for a macro itself.
std::string argument(std::string_view text) {
    return "\\&" + escaped(text);
}

// "Fl -root Ar DIR", or "Ar FILE ...".
std::string macro_of(const CLI::Option& option) {
    if (option.get_positional())
        return "Ar " + argument(option.get_name()) + (is_repeatable(option) ? " ..." : "");
    std::string text;
    for (const std::string& name : names_of(option))
        text += (text.empty() ? "Fl " : " , Fl ") + name.substr(1);
    return takes_value(option) ? text + " Ar " + argument(option.get_type_name()) : text;
}

void append_synopsis(const CLI::App& app, const std::string& path, std::string& out) {
    const auto commands = commands_of(app);
    for (const CLI::App* command : commands) append_synopsis(*command, path + " " + command->get_name(), out);
    if (!commands.empty()) return;
    out += ".Nm\n.Cm" + path + "\n";
    auto all = options_of(app);
    const auto arguments = arguments_of(app);
    all.insert(all.end(), arguments.begin(), arguments.end());
    for (const CLI::Option* option : all) {
        if (option == app.get_help_ptr()) continue;
        out += (option->get_required() ? "." : ".Op ") + macro_of(*option) + "\n";
    }
}

// The paragraphs of a footer; lines that are set in stand for examples.
void append_footer(const std::string& footer, std::string& out) {
    std::istringstream lines(footer);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t indent = line.find_first_not_of(' ');
        if (indent == std::string::npos) {
            out += ".Pp\n";
        } else if (indent > 0) {
            out += ".Dl " + argument(line.substr(indent)) + "\n";
        } else {
            out += escaped(line) + "\n";
        }
    }
}

void append_command(const CLI::App& app, const std::string& path, std::string& out) {
    const auto commands = commands_of(app);
    for (const CLI::App* command : commands) {
        const std::string name = path.empty() ? command->get_name() : path + " " + command->get_name();
        append_command(*command, name, out);
    }
    if (!commands.empty()) return;
    out += ".Ss " + path + "\n" + sentence(app.get_description());
    std::string list;
    auto all = arguments_of(app);
    const auto options = options_of(app);
    all.insert(all.end(), options.begin(), options.end());
    for (const CLI::Option* option : all) {
        if (option == app.get_help_ptr()) continue;
        list += ".It " + macro_of(*option) + "\n" + sentence(option->get_description());
    }
    if (!list.empty()) out += ".Bl -tag -width Ds\n" + list + ".El\n";
    if (!app.get_footer().empty()) {
        out += ".Pp\n";
        append_footer(app.get_footer(), out);
    }
}

}  // namespace

std::string manual_page(const CLI::App& app) {
    std::string out(HEAD);
    append_synopsis(app, "", out);
    out += DESCRIPTION;
    append_command(app, "", out);
    return out.append(TAIL);
}

}  // namespace lab
