#include "lab/compare/build_runner.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <signal.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lab/compare/run_json.h"
#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/io/text.h"
#include "lab/io/work_folder.h"
#include "lab/session/daemon_seat.h"

namespace lab {

namespace {

constexpr int CANNOT_RUN = 127;
constexpr int NO = 1;

struct program_end {
    int status = 0;  // of exit; -1 when a signal ended it
    std::string output, error;
};

// In the child: becomes the program, its two streams in files of `folder`.
[[noreturn]] void become(const other_build& build, const build_words& how) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const auto stream = [&](const char* name, int descriptor) {
        const std::string path = how.folder + name;
        ::dup2(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), descriptor);
    };
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    stream("/out", STDOUT_FILENO);
    stream("/err", STDERR_FILENO);
    if (!how.time_zone.empty()) ::setenv("TZ", how.time_zone.c_str(), 1);
    const std::string& program = build.lab.empty() ? build.program : build.lab;
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const std::string& each : how.words) words.push_back(const_cast<char*>(each.c_str()));
    if (!build.lab.empty()) {
        words.push_back(const_cast<char*>("--daemon"));
        words.push_back(const_cast<char*>(build.program.c_str()));
    }
    words.push_back(nullptr);
    ::execv(words[0], words.data());
    ::_exit(CANNOT_RUN);
}

program_end run_program(const other_build& build, const build_words& how) {
    const pid_t child = ::fork();
    if (child < 0) throw input_error(std::string("this machine refuses: fork: ") + std::strerror(errno));
    if (child == 0) become(build, how);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(how.folder + "/out"),
            read_file(how.folder + "/err")};
}

std::string last_line(const std::string& text) {
    std::istringstream lines(text);
    std::string line, last;
    while (std::getline(lines, line)) {
        if (!line.empty()) last = line;
    }
    return on_one_line(last);
}

// The rest of the line that begins so.
std::string line_after(const std::string& text, const std::string& beginning) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(beginning)) return line.substr(beginning.size());
    }
    return "";
}

bool is_digest(const std::string& text) {
    constexpr std::size_t DIGITS = 16;
    return text.size() == DIGITS &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
}

}  // namespace

other_build identify(const std::string& name, const std::string& program) {
    const std::string called = name + ": " + for_message(program);
    if (::access(program.c_str(), X_OK) != 0) throw input_error(called + ": " + std::strerror(errno));
    const work_folder folder;
    // A program is named by a path: a bare name would be looked for in this folder only.
    other_build build{name, program, {}, {}, {}};
    const program_end end = run_program(build, {{"--version"}, "", folder.path()});
    if (end.status != 0 || !end.output.starts_with("vorn-lab "))
        throw input_error(called + ": is no vorn-lab");
    build.identity.version = line_after(end.output, "vorn-lab ");
    build.identity.daemon = line_after(end.output, "daemon ");
    build.identity.lab = line_after(end.output, "lab ");
    build.wire = line_after(end.output, "wire ");
    if (!is_digest(build.identity.daemon) || !is_digest(build.identity.lab))
        throw input_error(called + ": too old: --version tells no digests of its code");
    return build;
}

void require_wire(const other_build& build) {
    const std::string wanted = std::to_string(DAEMON_WIRE_VERSION);
    if (build.wire == wanted) return;
    const std::string has = build.wire.empty() ? "no wire" : "wire " + on_one_line(build.wire);
    throw input_error(build.name + ": " + for_message(build.program) +
                      ": its daemon cannot run in another lab: it has " + has + ", this vorn-lab wire " +
                      wanted + " (diff --only-traces compares what the code decides without it)");
}

run_result run_build(const other_build& build, build_words how) {
    how.words.insert(how.words.begin() + 1, "--json");
    const program_end end = run_program(build, how);
    const std::string called = build.name + " (" + for_message(build.program) + ") ";
    if (end.status < 0) throw input_error(called + "was ended by a signal: " + last_line(end.error));
    const bool has_result = end.status == 0 || (end.status == NO && !end.output.empty());
    if (!has_result) throw input_error(called + "refuses: " + last_line(end.error));
    run_report report = read_run_document(end.output, build.name + "'s result");
    if (report.runs.size() != 1) throw input_error(called + "gives no result");
    return report.runs.front();
}

}  // namespace lab
