#include "lab/compare/process_pool.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace lab {

namespace {

constexpr char GOOD = '+';
constexpr char BAD = '-';

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// A job under way. Killed when it is abandoned.
class worker {
  public:
    worker(std::size_t index, const std::function<std::string(std::size_t)>& job) : index_(index) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
        // What stands in this process's buffers would otherwise be there twice.
        std::cout.flush();
        std::fflush(nullptr);
        pid_ = ::fork();
        if (pid_ == 0) {
            ::close(ends[0]);
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // an interrupted command leaves no work behind
            run(ends[1], job);
        }
        ::close(ends[1]);
        channel_ = ends[0];
        if (pid_ > 0) return;
        ::close(channel_);
        fail("fork");
    }
    worker(worker&& other) noexcept
        : index_(other.index_),
          pid_(std::exchange(other.pid_, -1)),
          channel_(std::exchange(other.channel_, -1)),
          said_(std::move(other.said_)) {}
    worker& operator=(worker&& other) noexcept {
        std::swap(index_, other.index_);
        std::swap(pid_, other.pid_);
        std::swap(channel_, other.channel_);
        std::swap(said_, other.said_);
        return *this;
    }
    ~worker() {
        if (channel_ >= 0) ::close(channel_);
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        wait();
    }

    std::size_t index() const { return index_; }
    int channel() const { return channel_; }

    // Takes what has come. False when there is no more to come.
    bool take() {
        std::array<char, 65536> piece;
        const ssize_t count = ::read(channel_, piece.data(), piece.size());
        if (count < 0) return errno == EINTR;
        said_.append(piece.data(), static_cast<std::size_t>(count));
        return count > 0;
    }

    job_end end() {
        const int status = wait();
        if (WIFSIGNALED(status)) return {false, "", "ended by signal " + std::to_string(WTERMSIG(status))};
        if (said_.empty())
            return {false, "", "ended with exit status " + std::to_string(WEXITSTATUS(status))};
        const bool is_good = said_.front() == GOOD;
        std::string text = said_.substr(1);
        return is_good ? job_end{true, std::move(text), ""} : job_end{false, "", std::move(text)};
    }

  private:
    [[noreturn]] void run(int channel, const std::function<std::string(std::size_t)>& job) const {
        std::string said;
        try {
            said = GOOD + job(index_);
        } catch (const std::exception& thrown) {
            said = BAD + std::string(thrown.what());
        }
        for (std::size_t sent = 0; sent < said.size();) {
            const ssize_t count = ::write(channel, said.data() + sent, said.size() - sent);
            if (count < 0 && errno != EINTR) break;
            sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
        ::_exit(0);
    }

    int wait() {
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return status;
    }

    std::size_t index_;
    pid_t pid_ = -1;
    int channel_ = -1;
    std::string said_;
};

// Waits until one of them has said all, and takes it out.
worker next_ended(std::vector<worker>& running) {
    for (;;) {
        std::vector<pollfd> waiting;
        for (const worker& each : running) waiting.push_back({each.channel(), POLLIN, 0});
        if (::poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) fail("poll");
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            if (waiting[i].revents == 0 || running[i].take()) continue;
            worker ended = std::move(running[i]);
            running.erase(running.begin() + static_cast<std::ptrdiff_t>(i));
            return ended;
        }
    }
}

}  // namespace

void run_jobs(std::size_t count, std::size_t at_once, const std::function<std::string(std::size_t)>& job,
              const std::function<void(std::size_t, job_end)>& ended) {
    if (at_once == 0) at_once = std::max(1U, std::thread::hardware_concurrency());
    std::vector<worker> running;
    std::size_t next = 0;
    while (next < count || !running.empty()) {
        while (next < count && running.size() < at_once) running.emplace_back(next++, job);
        worker done = next_ended(running);
        ended(done.index(), done.end());
    }
}

void in_order::take(std::size_t index, job_end end) {
    early_.emplace(index, std::move(end));
    for (auto found = early_.find(due_); found != early_.end(); found = early_.find(++due_)) {
        next_(due_, found->second);
        early_.erase(found);
    }
}

}  // namespace lab
