#include "lab/io/unfinished_files.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <signal.h>
#include <unistd.h>

namespace lab {

namespace {

constexpr int ENDING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ};

// A handler may read it at any moment: each name is whole before it stands here, and gone from here before it is freed.
std::array<std::atomic<char*>, 1024> names;
std::atomic<bool> is_bar_shown;
static_assert(std::atomic<char*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

// Only what may be called in a signal's handler.
void clean_up(int signal) {
    for (const auto& each : names) {
        const char* const name = each.load();
        if (name != nullptr) ::unlink(name);
    }
    if (is_bar_shown) (void)!::write(STDERR_FILENO, WIPE_LINE.data(), WIPE_LINE.size());
    ::signal(signal, SIG_DFL);
    ::raise(signal);  // taken as soon as this returns, so that the parent sees how it ended
}

}  // namespace

void remove_unfinished_on_signals() {
    for (const int each : ENDING_SIGNALS) {
        struct sigaction before {};
        ::sigaction(each, nullptr, &before);
        // What is ignored stays so: nohup, and a shell's background.
        if (before.sa_handler == SIG_DFL) ::signal(each, clean_up);
    }
}

void remember_unfinished(const std::string& name) {
    char* const kept = ::strdup(name.c_str());
    for (auto& each : names) {
        char* free_place = nullptr;
        if (each.compare_exchange_strong(free_place, kept)) return;
    }
    std::free(kept);
}

void remember_bar(bool is_shown) {
    is_bar_shown = is_shown;
}

void forget_unfinished(const std::string& name) {
    for (auto& each : names) {
        char* const kept = each.load();
        if (kept == nullptr || name != kept) continue;
        each.store(nullptr);
        std::free(kept);
        return;
    }
}

}  // namespace lab
