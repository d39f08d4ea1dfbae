#include "lab/session/wire.h"

#include <atomic>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace lab::wire {

namespace {

constexpr std::size_t HEADER_SIZE = 2 * sizeof(std::uint32_t);
constexpr int EXIT_WITHOUT_PARENT = 1;

// The numbers of a cycle, as they travel.
struct cycle_numbers {
    std::int64_t elapsed_s;
    std::int64_t real_time_s;
    std::array<std::int32_t, COLUMN_COUNT> daemon;
    sample seen;
    double stress_h;
    std::uint32_t truth_count;
};

std::uint32_t size_at(const char* message) {
    std::uint32_t size;
    std::memcpy(&size, message, sizeof size);
    return size;
}

// A byte through the channel. Each is false when the other process is gone.
bool signal_other(int channel) {
    const char token = 0;
    ssize_t count = 0;
    while ((count = ::send(channel, &token, sizeof token, MSG_NOSIGNAL)) < 0 && errno == EINTR) {
    }
    return count == sizeof token;
}

bool wait_for_other(int channel) {
    char token = 0;
    ssize_t count = 0;
    while ((count = ::recv(channel, &token, sizeof token, 0)) < 0 && errno == EINTR) {
    }
    return count == sizeof token;
}

}  // namespace

void sender::begin(kind what, std::size_t body_size) {
    total_ = HEADER_SIZE + body_size;
    if (filling().size + total_ > BATCH_SIZE) flush();
    if (total_ > BATCH_SIZE) {
        oversized_.resize(total_);
        at_ = oversized_.data();
    } else {
        at_ = filling().bytes + filling().size;
    }
    put_number(static_cast<std::uint32_t>(total_));
    put_number(what);
}

void sender::end() {
    if (total_ > BATCH_SIZE) return send_oversized();
    // A crash leaves the memory as it is: only a whole message may count.
    std::atomic_signal_fence(std::memory_order_release);
    filling().size += static_cast<std::uint32_t>(total_);
}

void sender::send_oversized() {
    for (std::size_t sent = 0; sent < total_; sent += BATCH_SIZE) {
        const std::size_t size = oversized_.copy(filling().bytes, BATCH_SIZE, sent);
        filling().size = static_cast<std::uint32_t>(size);
        flush();
    }
}

void sender::flush() {
    if (filling().size == 0) return;
    if (!signal_other(channel_)) ::_exit(EXIT_WITHOUT_PARENT);
    ++handed_over_;
    const bool is_first_use = handed_over_ < BATCHES;
    if (!is_first_use && !wait_for_other(channel_)) ::_exit(EXIT_WITHOUT_PARENT);
}

// Empties the last one first, so that in the end the child's batch holds nothing that was taken before.
bool receiver::take_batch() {
    if (taken_ != nullptr) {
        taken_->size = 0;
        signal_other(channel_);
    }
    if (is_child_gone_) return false;
    is_child_gone_ = !wait_for_other(channel_);
    taken_ = &shared_.batches[taken_count_++ % BATCHES];
    messages_ = {taken_->bytes, taken_->size};
    return !messages_.empty();
}

// A message of which the batch taken holds the first part.
bool receiver::gather(std::size_t size) {
    oversized_.clear();
    while (true) {
        oversized_ += messages_;
        messages_ = {};
        if (oversized_.size() == size) return true;
        if (!take_batch()) return false;
    }
}

bool receiver::next(kind& what, std::string_view& content) {
    if (messages_.empty() && !take_batch()) return false;
    const std::uint32_t size = size_at(messages_.data());
    std::string_view message = messages_.substr(0, size);
    if (size <= messages_.size()) {
        messages_.remove_prefix(size);
    } else {
        if (!gather(size)) return false;
        message = oversized_;
    }
    std::memcpy(&what, message.data() + sizeof size, sizeof what);
    content = message.substr(HEADER_SIZE);
    return true;
}

void send_event(sender& to, const event_numbers& what, std::string_view name, std::string_view text) {
    to.begin(kind::event, sizeof what + size_of_text(name) + size_of_text(text));
    to.put_number(what);
    to.put_text(name);
    to.put_text(text);
    to.end();
}

void receive_event(body from, event& what) {
    const auto numbers = from.number<event_numbers>();
    what.kind = numbers.kind;
    what.elapsed_s = numbers.elapsed_s;
    what.real_time_s = numbers.real_time_s;
    what.priority = numbers.priority;
    what.buffer = numbers.buffer;
    what.result = numbers.result;
    what.name = from.text();
    what.text = from.text();
}

void send_cycle(sender& to, const cycle& after) {
    const auto count = static_cast<std::uint32_t>(after.truth.size());
    to.begin(kind::cycle, sizeof(cycle_numbers) + count * sizeof(double));
    to.put_number(
        cycle_numbers{after.elapsed_s, after.real_time_s, after.daemon, after.seen, after.stress_h, count});
    to.put(after.truth.data(), count * sizeof(double));
    to.end();
}

void receive_cycle(body from, cycle& after) {
    const auto numbers = from.number<cycle_numbers>();
    after.elapsed_s = numbers.elapsed_s;
    after.real_time_s = numbers.real_time_s;
    after.daemon = numbers.daemon;
    after.seen = numbers.seen;
    after.stress_h = numbers.stress_h;
    after.truth.resize(numbers.truth_count);
    for (double& value : after.truth) value = from.number<double>();
}

}  // namespace lab::wire
