#include "lab/io/work_folder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lab/io/error.h"

namespace lab {

namespace {

// Waits for the end of everybody who holds the other end of `alive`, then tidies up.
[[noreturn]] void keep(int alive, const std::string& path) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) ::signal(number, SIG_IGN);
    ::close(STDIN_FILENO);  // whoever reads from a pipe of this program need not wait for the keeper
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    char nothing;
    while (::read(alive, &nothing, 1) < 0 && errno == EINTR) {
    }
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
    ::_exit(0);
}

}  // namespace

work_folder::work_folder() {
    std::error_code none;
    path_ = (std::filesystem::temp_directory_path(none) / "vorn-lab-work-XXXXXX").string();
    if (none || ::mkdtemp(path_.data()) == nullptr)
        throw input_error("no folder for temporary files: " + path_ + ": " + std::strerror(errno));
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw input_error(std::string("pipe: ") + std::strerror(errno));
    keeper_ = ::fork();
    if (keeper_ == 0) {
        ::close(ends[1]);
        keep(ends[0], path_);
    }
    ::close(ends[0]);
    alive_ = ends[1];
}

work_folder::~work_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
    ::close(alive_);
    if (keeper_ > 0) ::waitpid(keeper_, nullptr, 0);
}

}  // namespace lab
