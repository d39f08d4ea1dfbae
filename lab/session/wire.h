// Messages from a boot's child process to its parent.
//
// A message is its size in bytes (32 bits, itself included), a kind (32 bits) and a body; numbers are in the
// processor's own order, a text is its size (32 bits) and its bytes. The child gathers messages in one of two
// batches of memory that the parent shares:
//
//     child fills   [ msg msg ...     ]   --full-->   parent takes its messages, where they stand
//     and meanwhile [ msg msg msg ... ]   <--empty--  gives it back
//
// Through the channel, a pair of sockets, goes but a byte per batch; its end says that the other process is
// gone. What the child had not handed over by then, in a crash, stands in the batch that it was filling.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "lab/session/cycle.h"
#include "lab/session/event.h"

namespace lab::wire {

enum class kind : std::uint32_t {
    boot,   // the number of the boot, 64 bits
    event,  // one effect
    cycle,  // one cycle is over
    clocks,  // one cycle is over, of which nobody wants to hear more: its elapsed and its real time, 64 bits each
    progress,   // share of the course, a double
    boot_over,  // the boot ended as the course wanted; what goes to the next one
    failure,    // the course threw; a text
    fault,      // the course threw what shows a fault of this program; a text
};

constexpr std::size_t BATCH_SIZE = 1048576;  // some thousand cycles: the processes seldom wait for each other
constexpr std::size_t BATCHES = 2;

struct batch {
    std::uint32_t size;  // bytes of complete messages; the one that empties it sets it to 0
    char bytes[BATCH_SIZE];
};

// What both processes see.
struct shared_state {
    std::int64_t elapsed_s;    // of the cycle under way
    std::int64_t source_line;  // course::source_line() in it
    bool is_started;           // start-up is over
    batch batches[BATCHES];
};

// Size in a message.
constexpr std::size_t size_of_text(std::string_view text) {
    return sizeof(std::uint32_t) + text.size();
}

// The child's end. Ends the process when the parent is gone.
class sender {
  public:
    sender(shared_state& shared, int channel) : shared_(shared), channel_(channel) {}

    // One message: begin with the exact size of its body, put that, end.
    void begin(kind what, std::size_t body_size);
    void put(const void* bytes, std::size_t size) {
        if (size == 0) return;  // nothing may have no address
        std::memcpy(at_, bytes, size);
        at_ += size;
    }
    template <typename T>
    void put_number(T number) {
        put(&number, sizeof number);
    }
    void put_text(std::string_view text) {
        put_number(static_cast<std::uint32_t>(text.size()));
        put(text.data(), text.size());
    }
    void end();

    // Hands over what has been gathered.
    void flush();

  private:
    batch& filling() { return shared_.batches[handed_over_ % BATCHES]; }
    void send_oversized();

    shared_state& shared_;
    int channel_;
    std::uint64_t handed_over_ = 0;  // batches
    char* at_ = nullptr;             // where the message under way goes on
    std::size_t total_ = 0;          // size of it
    std::string oversized_;          // holds it when it is larger than a batch: it then goes in several
};

// The body of one received message, read in the order it was put.
class body {
  public:
    explicit body(std::string_view bytes) : rest_(bytes) {}

    template <typename T>
    T number() {
        T value;
        std::memcpy(&value, rest_.data(), sizeof value);
        rest_.remove_prefix(sizeof value);
        return value;
    }
    std::string_view text() {
        const auto size = number<std::uint32_t>();
        const std::string_view result = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return result;
    }

  private:
    std::string_view rest_;
};

// The parent's end.
class receiver {
  public:
    receiver(shared_state& shared, int channel) : shared_(shared), channel_(channel) {}

    // Waits for the next message. False when the child is gone, and everything it had said is taken.
    // `content` stays good until the next call.
    bool next(kind& what, std::string_view& content);

  private:
    bool take_batch();
    bool gather(std::size_t size);

    shared_state& shared_;
    int channel_;
    batch* taken_ = nullptr;  // null before the first
    std::uint64_t taken_count_ = 0;
    std::string_view messages_;  // in it, not yet taken
    std::string oversized_;      // a message larger than a batch
    bool is_child_gone_ = false;
};

// The numbers of an event, as they travel. The boot's goes ahead, in a message of its own.
struct event_numbers {
    event_kind kind = event_kind::log;
    std::int32_t priority = 0;
    std::int32_t buffer = 0;
    std::int64_t result = 0;
    std::int64_t elapsed_s = 0;
    std::int64_t real_time_s = 0;
};

void send_event(sender& to, const event_numbers& what, std::string_view name, std::string_view text);
void receive_event(body from, event& what);
void send_cycle(sender& to, const cycle& after);
void receive_cycle(body from, cycle& after);

}  // namespace lab::wire
