#include "tests/support/command.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <iostream>
#include <sys/wait.h>
#include <unistd.h>

#include "lab/command_line.h"
#include "lab/input_file.h"
#include "tests/support/directory.h"

namespace test {

namespace {

void redirect(int descriptor, const std::string& path, int flags) {
    const int opened = ::open(path.c_str(), flags, 0600);
    if (opened < 0 || ::dup2(opened, descriptor) < 0) std::abort();
    ::close(opened);
}

[[noreturn]] void become_command(const std::vector<std::string>& arguments, const std::string& directory,
                                 const std::string& time_zone) {
    if (::chdir(directory.c_str()) != 0) std::abort();
    ::setenv("TZ", time_zone.c_str(), 1);
    ::tzset();
    std::vector<const char*> words = {"vorn-lab"};
    for (const std::string& each : arguments) words.push_back(each.c_str());
    const int status = lab::run_command_line(static_cast<int>(words.size()), words.data());
    std::cout.flush();
    std::fflush(nullptr);
    ::_exit(status);
}

}  // namespace

command_outcome run_command(const std::vector<std::string>& arguments, const std::string& directory,
                            const std::string& time_zone) {
    const temporary_directory output;
    std::cout.flush();
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
        redirect(STDOUT_FILENO, output / "out", O_WRONLY | O_CREAT);
        redirect(STDERR_FILENO, output / "err", O_WRONLY | O_CREAT);
        become_command(arguments, directory, time_zone);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child) return {};
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output.get("out"), output.get("err")};
}

}  // namespace test
