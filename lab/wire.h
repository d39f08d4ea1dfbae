// Messages from a boot's child process to its parent.
//
// A message is its size in bytes (32 bits, itself included), a kind (32 bits) and a body; numbers are in the
// processor's own order, a text is its size (32 bits) and its bytes. The child gathers messages in memory
// that the parent shares and hands full batches over through a pipe:
//
//     child:  [ msg msg msg ... ]  --batch full-->  pipe  -->  parent reads, decodes
//                shared batch      --crash------------------>  parent reads the rest from here
//
// So the way through the pipe costs one system call per batch, and nothing said before a crash is lost.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "lab/cycle.h"
#include "lab/event.h"

namespace lab::wire {

enum class kind : std::uint32_t {
    boot,       // the number of the boot, 64 bits
    event,      // one effect
    cycle,      // one cycle is over
    progress,   // share of the course, a double
    boot_over,  // the boot ended as the course wanted; what goes to the next one
    failure,    // the course threw; a text
};

constexpr std::size_t BATCH_SIZE = 65536;

// What both processes see. The child writes; the parent reads it when the child is gone.
struct shared_state {
    std::int64_t elapsed_s;     // of the cycle under way
    std::int64_t source_line;   // course::source_line() in it
    bool is_started;            // start-up is over
    std::uint64_t batch_start;  // bytes of messages before `batch`, all of them in the pipe
    std::uint32_t batch_size;   // bytes of complete messages in `batch`
    char batch[BATCH_SIZE];
};

// Size in a message.
constexpr std::size_t size_of_text(std::string_view text) {
    return sizeof(std::uint32_t) + text.size();
}

// The child's end. Ends the process when the parent is gone.
class sender {
  public:
    sender(shared_state& shared, int pipe) : shared_(shared), pipe_(pipe) {}

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
    void write_to_pipe(const char* bytes, std::size_t size) const;

    shared_state& shared_;
    int pipe_;
    char* at_ = nullptr;     // where the message under way goes on
    std::size_t total_ = 0;  // size of it
    std::string oversized_;  // holds it when it is larger than a batch
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
    receiver(const shared_state& shared, int pipe) : shared_(shared), pipe_(pipe) {}

    // Waits for the next message. False when the child has closed its end; no message is cut by that unless
    // the child crashed. `content` stays good until the next call.
    bool next(kind& what, std::string_view& content);

    // After the end of a child that crashed: lets next() go on with what it had not handed over.
    void take_rest();

  private:
    bool has_message() const;
    void make_room(std::size_t size);

    const shared_state& shared_;
    int pipe_;
    std::vector<char> received_;  // from the pipe; room that only grows
    std::size_t at_ = 0;          // next message in it
    std::size_t end_ = 0;         // of what has been received
    std::uint64_t total_ = 0;     // bytes received in all
    bool is_closed_ = false;
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
