// Events as JSON Lines, one object per visible effect (docs/formats.md).
#pragma once

#include <cstdint>
#include <string>

#include "lab/io/input_file.h"
#include "lab/io/output_file.h"
#include "lab/session/event.h"
#include "lab/session/listener.h"

namespace lab {

// The object of one event, without a line end.
void append_json(std::string& out, const event& what);

// Writes every event it hears. Whoever owns the file commits it.
class event_writer : public listener {
  public:
    explicit event_writer(output_file& file) : file_(file) {}

    void on_event(const event& what) override;
    bool wants_cycles() const override { return false; }

  private:
    output_file& file_;
};

// Reads such a file, one line at a time.
class event_reader {
  public:
    explicit event_reader(input_file file) : file_(std::move(file)) {}

    // Reads the next event into `what`; false at the end. The wall clock is not in the file and left as it
    // is; keys that no event has are passed over. Throws input_error "file:line:column: what".
    bool next(event& what);

    // Lets next() begin with the first event again.
    void rewind();

    std::int64_t line() const { return line_; }  // of the event last read

  private:
    bool next_line(std::string& line);

    input_file file_;
    std::string buffer_;       // part of the file, read ahead
    std::size_t at_ = 0;       // next byte of it
    std::int64_t offset_ = 0;  // in the file, of the end of the buffer
    std::int64_t line_ = 0;
    std::string text_;
};

}  // namespace lab
