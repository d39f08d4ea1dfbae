#include "lab/io/patient_reader.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace lab {

namespace {

constexpr int ENDING_SIGNALS[] = {SIGINT, SIGTERM};
volatile sig_atomic_t taken = 0;  // the signal that came; 0: none

void take(int signal) {
    taken = signal;
}

}  // namespace

// Blocked but for the wait, so that none comes between the look at `taken` and the wait.
patient_reader::patient_reader() {
    taken = 0;
    sigset_t ending;
    ::sigemptyset(&ending);
    struct sigaction action {};
    action.sa_handler = take;
    for (std::size_t i = 0; i < std::size(ENDING_SIGNALS); ++i) {
        ::sigaction(ENDING_SIGNALS[i], nullptr, &before_[i]);
        if (before_[i].sa_handler == SIG_IGN) continue;  // a shell's background stays there
        ::sigaddset(&ending, ENDING_SIGNALS[i]);
        ::sigaction(ENDING_SIGNALS[i], &action, nullptr);
    }
    ::sigprocmask(SIG_BLOCK, &ending, &mask_before_);
}

patient_reader::~patient_reader() {
    for (std::size_t i = 0; i < std::size(ENDING_SIGNALS); ++i)
        ::sigaction(ENDING_SIGNALS[i], &before_[i], nullptr);
    if (taken != 0) ::raise(taken);
    ::sigprocmask(SIG_SETMASK, &mask_before_, nullptr);
}

ssize_t patient_reader::read(int descriptor, std::span<char> into) const {
    for (;;) {
        pollfd waiting{descriptor, POLLIN, 0};
        const timespec at_once{};
        const int ready = ::ppoll(&waiting, 1, taken == 0 ? nullptr : &at_once, &mask_before_);
        if (ready < 0 && errno == EINTR) continue;
        if (ready == 0) return 0;
        const ssize_t count = ::read(descriptor, into.data(), into.size());
        if (count >= 0 || errno != EINTR) return count;
    }
}

}  // namespace lab
