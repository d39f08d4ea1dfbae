#include "lab/session/daemon_seat.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "charge_mgr/charge_mgr.h"
#include "core/daemon.h"
#include "lab/io/error.h"
#include "lab/io/text.h"
#include "lab/session/device_mirror.h"
#include "lab/session/stress_gauge.h"

namespace lab {

namespace {

using virtual_device::device;

static_assert(COLUMN_COUNT == 23, "another column is another DAEMON_WIRE_VERSION");

constexpr std::array<std::uint32_t, 2> HELLO{0x6E726F76, DAEMON_WIRE_VERSION};

std::string other_program;

// All of the bytes, or false when the other end is gone.
bool send_all(int channel, const void* bytes, std::size_t size) {
    const char* at = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t count = ::send(channel, at, size, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        at += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool receive_all(int channel, void* bytes, std::size_t size) {
    char* at = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t count = ::recv(channel, at, size, MSG_WAITALL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        at += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool send_letter(int channel, const letter& what) {
    const auto size = static_cast<std::uint32_t>(what.bytes().size());
    return send_all(channel, &size, sizeof size) && send_all(channel, what.bytes().data(), size);
}

bool receive_letter(int channel, std::string& into) {
    std::uint32_t size = 0;
    if (!receive_all(channel, &size, sizeof size)) return false;
    into.resize(size);
    return receive_all(channel, into.data(), size);
}

class seat_here : public daemon_seat {
  public:
    void start() override { daemon_start(); }
    void run_cycle() override { daemon_cycle(); }
    charge_limits read(cycle& into) override {
        into.daemon = read_daemon_columns();
        into.stress_h = stress_.read();
        return {charge_mgr__get_bot_of_charge_mv(), charge_mgr__get_top_of_charge_mv()};
    }

  private:
    stress_gauge stress_;
};

class seat_there : public daemon_seat {
  public:
    seat_there(const std::string& program, device& on) : on_(on) {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            throw std::system_error(errno, std::generic_category(), "socketpair");
        pid_ = ::fork();
        if (pid_ == 0) become(program, ends[1]);
        ::close(ends[1]);
        channel_ = ends[0];
        std::array<std::uint32_t, 2> hello{};
        if (pid_ > 0 && receive_all(channel_, hello.data(), sizeof hello) && hello == HELLO) return;
        leave();
        throw input_error(for_message(program) +
                          ": its daemon cannot be run in another lab of wire version " +
                          std::to_string(DAEMON_WIRE_VERSION));
    }
    ~seat_there() override { leave(); }

    void start() override { turn(true); }
    void run_cycle() override { turn(false); }
    charge_limits read(cycle& into) override {
        into.daemon = daemon_;
        into.stress_h = stress_h_;
        return limits_;
    }

  private:
    [[noreturn]] static void become(const std::string& program, int channel) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        const std::string number = std::to_string(::dup(channel));  // which outlives the exec
        ::execl(program.c_str(), program.c_str(), "daemon-wire", number.c_str(), nullptr);
        ::_exit(EXIT_FAILURE);
    }

    void leave() {
        ::close(channel_);
        if (pid_ > 0) ::kill(pid_, SIGKILL);
        (void)end_of_other();
    }

    int end_of_other() {
        int status = 0;
        while (pid_ > 0 && ::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return status;
    }

    // Whoever waits for this boot is to see how its daemon ended.
    [[noreturn]] void end_likewise() {
        const int status = end_of_other();
        if (WIFSIGNALED(status)) {
            std::signal(WTERMSIG(status), SIG_DFL);
            ::raise(WTERMSIG(status));
        }
        ::_exit(WIFEXITED(status) && WEXITSTATUS(status) != 0 ? WEXITSTATUS(status) : EXIT_FAILURE);
    }

    void turn(bool is_start) {
        request_.clear();
        request_.put_number(is_start);
        request_.put_number(on_.told.log != nullptr);
        request_.put_number(on_.elapsed_s);
        request_.put_number(on_.real_time_s);
        mirror_.put_changes(on_, request_);
        if (!send_letter(channel_, request_) || !receive_letter(channel_, reply_)) end_likewise();
        wire::body from(reply_);
        while (from.number<bool>()) pass_on(from);
        daemon_ = from.number<std::array<std::int32_t, COLUMN_COUNT>>();
        stress_h_ = from.number<double>();
        limits_ = from.number<charge_limits>();
        mirror_.take_changes(from, on_);
    }

    void pass_on(wire::body& from) const {
        const auto numbers = from.number<wire::event_numbers>();
        const std::string name(from.text()), text(from.text());
        const virtual_device::effects& to = on_.told;
        switch (numbers.kind) {
            case event_kind::log:
                return to.log(to.context, numbers.priority, name.c_str(), text.c_str());
            case event_kind::metric:
                return to.metric(to.context, numbers.buffer, numbers.priority, name.c_str(), text.c_str());
            case event_kind::property_set:
                return to.property_set(to.context, name.c_str(), text.c_str(),
                                       static_cast<int>(numbers.result));
            case event_kind::write:
                return to.write(to.context, name, text.data(), text.size(),
                                static_cast<std::ptrdiff_t>(numbers.result));
        }
    }

    device& on_;
    pid_t pid_ = -1;
    int channel_ = -1;
    device_mirror mirror_;
    letter request_;
    std::string reply_;
    std::array<std::int32_t, COLUMN_COUNT> daemon_{};
    double stress_h_ = 0;
    charge_limits limits_;
};

void put_effect(void* into, const wire::event_numbers& numbers, std::string_view name,
                std::string_view text) {
    auto& reply = *static_cast<letter*>(into);
    reply.put_number(true);
    reply.put_number(numbers);
    reply.put_text(name);
    reply.put_text(text);
}

virtual_device::effects effects_into(letter& reply) {
    virtual_device::effects told;
    told.context = &reply;
    told.log = [](void* into, int priority, const char* tag, const char* text) {
        put_effect(into, {.kind = event_kind::log, .priority = priority}, tag, text);
    };
    told.metric = [](void* into, int buffer, int priority, const char* tag, const char* text) {
        put_effect(into, {.kind = event_kind::metric, .priority = priority, .buffer = buffer}, tag, text);
    };
    told.property_set = [](void* into, const char* name, const char* value, int result) {
        put_effect(into, {.kind = event_kind::property_set, .result = result}, name, value);
    };
    told.write = [](void* into, const std::string& path, const void* data, std::size_t size,
                    std::ptrdiff_t result) {
        put_effect(into, {.kind = event_kind::write, .result = result}, path,
                   {static_cast<const char*>(data), size});
    };
    return told;
}

}  // namespace

std::unique_ptr<daemon_seat> take_seat(device& on) {
    if (other_program.empty()) return std::make_unique<seat_here>();
    return std::make_unique<seat_there>(other_program, on);
}

void run_daemons_of(std::string program) {
    other_program = std::move(program);
}

void serve_daemon(int channel) {
    device& on = virtual_device::the_device();
    device_mirror mirror;
    seat_here daemon;
    cycle after;
    letter reply;
    std::string request;
    bool is_heard = send_all(channel, HELLO.data(), sizeof HELLO);
    while (is_heard && receive_letter(channel, request)) {
        wire::body from(request);
        const bool is_start = from.number<bool>();
        on.told = from.number<bool>() ? effects_into(reply) : virtual_device::effects();
        on.elapsed_s = from.number<std::int64_t>();
        on.real_time_s = from.number<std::int64_t>();
        mirror.take_changes(from, on);
        reply.clear();
        is_start ? daemon.start() : daemon.run_cycle();
        reply.put_number(false);
        const charge_limits limits = daemon.read(after);
        reply.put_number(after.daemon);
        reply.put_number(after.stress_h);
        reply.put_number(limits);
        mirror.put_changes(on, reply);
        is_heard = send_letter(channel, reply);
    }
}

}  // namespace lab
