#include "lab/wire.h"

#include <atomic>
#include <cerrno>
#include <system_error>
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
    std::uint32_t truth_count;
};

std::uint32_t size_at(const char* message) {
    std::uint32_t size;
    std::memcpy(&size, message, sizeof size);
    return size;
}

}  // namespace

void sender::begin(kind what, std::size_t body_size) {
    total_ = HEADER_SIZE + body_size;
    if (shared_.batch_size + total_ > BATCH_SIZE) flush();
    if (total_ > BATCH_SIZE) {
        oversized_.resize(total_);
        at_ = oversized_.data();
    } else {
        at_ = shared_.batch + shared_.batch_size;
    }
    put_number(static_cast<std::uint32_t>(total_));
    put_number(what);
}

void sender::end() {
    if (total_ > BATCH_SIZE) {
        write_to_pipe(oversized_.data(), total_);
        shared_.batch_start += total_;
        return;
    }
    // A crash leaves the memory as it is: only a whole message may count.
    std::atomic_signal_fence(std::memory_order_release);
    shared_.batch_size += static_cast<std::uint32_t>(total_);
}

// Emptied before it counts as sent: a kill in between then repeats nothing.
void sender::flush() {
    const std::uint32_t size = shared_.batch_size;
    write_to_pipe(shared_.batch, size);
    shared_.batch_size = 0;
    std::atomic_signal_fence(std::memory_order_release);
    shared_.batch_start += size;
}

void sender::write_to_pipe(const char* bytes, std::size_t size) const {
    while (size > 0) {
        const ssize_t count = ::write(pipe_, bytes, size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) ::_exit(EXIT_WITHOUT_PARENT);
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
}

bool receiver::has_message() const {
    const std::size_t available = end_ - at_;
    return available >= HEADER_SIZE && available >= size_at(received_.data() + at_);
}

// After what has been received but not yet taken, which moves to the front.
void receiver::make_room(std::size_t size) {
    if (at_ > 0) std::memmove(received_.data(), received_.data() + at_, end_ - at_);
    end_ -= at_;
    at_ = 0;
    if (received_.size() < end_ + size) received_.resize(end_ + size);
}

bool receiver::next(kind& what, std::string_view& content) {
    while (!has_message()) {
        if (is_closed_) return false;
        make_room(BATCH_SIZE);
        const ssize_t count = ::read(pipe_, received_.data() + end_, BATCH_SIZE);
        if (count < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "pipe");
        if (count == 0) is_closed_ = true;
        if (count <= 0) continue;
        end_ += static_cast<std::size_t>(count);
        total_ += static_cast<std::uint64_t>(count);
    }
    const char* const begin = received_.data() + at_;
    const std::string_view message(begin, size_at(begin));
    std::memcpy(&what, begin + sizeof(std::uint32_t), sizeof what);
    content = message.substr(HEADER_SIZE);
    at_ += message.size();
    return true;
}

void receiver::take_rest() {
    if (total_ < shared_.batch_start) return;
    const std::uint64_t known = total_ - shared_.batch_start;  // of the batch
    if (known >= shared_.batch_size) return;
    const std::size_t rest = shared_.batch_size - known;
    make_room(rest);
    std::memcpy(received_.data() + end_, shared_.batch + known, rest);
    end_ += rest;
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
    to.put_number(cycle_numbers{after.elapsed_s, after.real_time_s, after.daemon, after.seen, count});
    to.put(after.truth.data(), count * sizeof(double));
    to.end();
}

void receive_cycle(body from, cycle& after) {
    const auto numbers = from.number<cycle_numbers>();
    after.elapsed_s = numbers.elapsed_s;
    after.real_time_s = numbers.real_time_s;
    after.daemon = numbers.daemon;
    after.seen = numbers.seen;
    after.truth.resize(numbers.truth_count);
    for (double& value : after.truth) value = from.number<double>();
}

}  // namespace lab::wire
