#include "lab/session/session.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "lab/io/error.h"
#include "lab/session/boot.h"
#include "lab/session/wire.h"

namespace lab {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Memory that a child shares with this process.
class shared_memory {
  public:
    shared_memory() {
        void* const memory = ::mmap(nullptr, sizeof(wire::shared_state), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) fail("mmap");
        state_ = static_cast<wire::shared_state*>(memory);
    }
    shared_memory(const shared_memory&) = delete;
    shared_memory& operator=(const shared_memory&) = delete;
    ~shared_memory() { ::munmap(state_, sizeof *state_); }

    wire::shared_state& operator*() const { return *state_; }
    wire::shared_state* operator->() const { return state_; }

  private:
    wire::shared_state* state_;
};

// A boot under way. Killed when it is abandoned.
class boot_process {
  public:
    boot_process(course& device_course, const device_image& image, boot_wishes wishes,
                 wire::shared_state& shared) {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) fail("socketpair");
        // What stands in this process's buffers would otherwise be there twice.
        std::cout.flush();
        std::fflush(nullptr);
        const pid_t parent = ::getpid();
        pid_ = ::fork();
        if (pid_ == 0) {
            ::close(ends[0]);
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody would tell it to stop
            if (::getppid() != parent) ::_exit(EXIT_FAILURE);
            run_boot(device_course, image, wishes, shared, ends[1]);
        }
        channel_ = ends[0];
        ::close(ends[1]);
        if (pid_ < 0) {
            ::close(channel_);
            fail("fork");
        }
    }
    boot_process(const boot_process&) = delete;
    boot_process& operator=(const boot_process&) = delete;
    ~boot_process() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            wait();
        }
        ::close(channel_);
    }

    int channel() const { return channel_; }

    // How it ended, as waitpid() tells it.
    int wait() {
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return status;
    }

  private:
    pid_t pid_ = -1;
    int channel_ = -1;
};

std::string end_of_process(int status) {
    if (WIFEXITED(status)) return "it ended with exit status " + std::to_string(WEXITSTATUS(status));
    const int signal = WTERMSIG(status);
    const char* const name = ::sigabbrev_np(signal);
    const char* const meaning = ::sigdescr_np(signal);
    std::string text = "killed by SIG" + (name == nullptr ? std::to_string(signal) : std::string(name));
    if (meaning != nullptr) text += std::string(" (") + meaning + ")";
    return text;
}

// Where in the run a boot came to.
std::string place_in(std::int64_t boot, const wire::shared_state& shared, const course& device_course) {
    std::string text = "in boot " + std::to_string(boot);
    text += shared.is_started ? " at elapsed " + std::to_string(shared.elapsed_s) + " s" : " during start-up";
    if (shared.source_line > 0)
        text += " (" + device_course.source_name() + ":" + std::to_string(shared.source_line) + ")";
    return text;
}

// Hands messages to the listeners; keeps what ends the boot.
class dispatcher {
  public:
    explicit dispatcher(const std::vector<listener*>& listeners) : listeners_(listeners) {
        for (listener* each : listeners) {
            if (each->wants_events()) to_hear_events_.push_back(each);
            if (each->wants_cycles()) to_hear_cycles_.push_back(each);
        }
    }

    boot_wishes wishes() const {
        const bool samples = std::ranges::any_of(to_hear_cycles_, &listener::wants_samples);
        const bool state = std::ranges::any_of(to_hear_cycles_, &listener::wants_state);
        return {!to_hear_events_.empty(), !to_hear_cycles_.empty(), samples, state};
    }

    void take(wire::kind what, std::string_view content) {
        wire::body body(content);
        switch (what) {
            case wire::kind::boot:
                boot_ = event_.boot = cycle_.boot = body.number<std::int64_t>();
                event_.elapsed_s = cycle_.elapsed_s = 0;
                break;
            case wire::kind::event:
                wire::receive_event(body, event_);
                for (listener* each : to_hear_events_) each->on_event(event_);
                break;
            case wire::kind::cycle:
                wire::receive_cycle(body, cycle_);
                for (listener* each : to_hear_cycles_) each->on_cycle(cycle_);
                break;
            case wire::kind::clocks:
                cycle_.elapsed_s = body.number<std::int64_t>();
                cycle_.real_time_s = body.number<std::int64_t>();
                for (listener* each : to_hear_cycles_) each->on_cycle(cycle_);
                break;
            case wire::kind::progress: {
                const auto share = body.number<double>();
                for (listener* each : listeners_) each->on_progress(share);
                break;
            }
            case wire::kind::boot_over:
                result_ = receive_boot_result(body);
                is_over_ = true;
                break;
            case wire::kind::failure:
                throw input_error(std::string(body.text()));
            case wire::kind::fault:
                throw program_fault(std::string(body.text()));
        }
    }

    void take_all(wire::receiver& from) {
        wire::kind what;
        std::string_view content;
        while (from.next(what, content)) take(what, content);
    }

    std::int64_t boot() const { return boot_; }
    std::int64_t elapsed_s() const { return std::max(event_.elapsed_s, cycle_.elapsed_s); }
    bool is_over() const { return is_over_; }
    boot_result& result() { return result_; }

  private:
    const std::vector<listener*>& listeners_;
    std::vector<listener*> to_hear_events_;
    std::vector<listener*> to_hear_cycles_;
    event event_;
    cycle cycle_;
    std::int64_t boot_ = 0;
    bool is_over_ = false;
    boot_result result_;
};

boot_result run_one_boot(course& device_course, const device_image& image,
                         const std::vector<listener*>& listeners) {
    // The memory first: the child, killed at the latest when `child` ends, must not outlive it.
    const shared_memory shared;
    dispatcher heard(listeners);
    boot_process child(device_course, image, heard.wishes(), *shared);
    wire::receiver from(*shared, child.channel());
    try {
        heard.take_all(from);
    } catch (const program_fault& of_course) {
        throw program_fault(place_in(heard.boot(), *shared, device_course) + ": " + of_course.what());
    } catch (const std::logic_error& of_listener) {
        // The child may be far ahead of what the listeners have heard.
        throw program_fault("in boot " + std::to_string(heard.boot()) + " at elapsed " +
                            std::to_string(heard.elapsed_s()) + " s: " + of_listener.what());
    }
    const int status = child.wait();
    if (heard.is_over() && status == 0) return std::move(heard.result());
    throw daemon_crashed("the daemon crashed " + place_in(heard.boot(), *shared, device_course) + ": " +
                         end_of_process(status));
}

}  // namespace

void run_session(course& device_course, device_image& image, const std::vector<listener*>& listeners) {
    for (;;) {
        boot_result result = run_one_boot(device_course, image, listeners);
        // The course moved on in the child only; here it still stands where it stood before the boot.
        image = std::move(result.image);
        device_course.load(result.course_state);
        if (!result.has_more_boots) return;
        image.forget_volatile();
    }
}

}  // namespace lab
