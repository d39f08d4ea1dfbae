// The process on a plain Linux host: whoever starts it may have left it anything.

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/android_log.h"
#include "platform/linux/repeated_lines.h"
#include "platform/os.h"

namespace {

constexpr char TAG[] = "vorn";
constexpr char LOCK_DIR[] = "/run/vorn";
constexpr char LOCK_FILE[] = "/run/vorn/lock";

// A file opened in the place of a standard descriptor would be written into by the next log line.
void open_standard_descriptors() {
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) descriptor = ::open("/dev/null", O_RDWR);
    if (descriptor >= 0) ::close(descriptor);
}

// The reader of the log that went away, and a limit on the size of files, become a write that fails.
void ignore_signals_of_writes() {
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
}

// Two instances would both count hours into the same files. The lock lasts as long as its descriptor, and the
// place of standard input is free for it: the daemon reads none, and keeps nothing else open.
bool take_lock() {
    ::mkdir(LOCK_DIR, 0755);  // fails when it is there, which is well
    const int lock = ::open(LOCK_FILE, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644);
    if (lock < 0) {
        __android_log_print(ANDROID_LOG_ERROR, TAG,
                            "--- cannot open %s: another instance would not be noticed ---\n", LOCK_FILE);
        return true;
    }
    if (::flock(lock, LOCK_EX | LOCK_NB) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, TAG, "--- runs already, %s is locked ---\n", LOCK_FILE);
        return false;
    }
    ::dup2(lock, STDIN_FILENO);
    ::close(lock);
    return true;
}

}  // namespace

namespace os {

bool begin_process() {
    open_standard_descriptors();
    ignore_signals_of_writes();
    return take_lock();
}

void sleep_s(unsigned seconds) {
    repeated_lines::end_cycle();
    ::sleep(seconds);
}

}  // namespace os
