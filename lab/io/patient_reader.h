// Reading a stream that may be written to while it is read, until its end or until the user ends it.
#pragma once

#include <signal.h>
#include <span>

namespace lab {

// While it lives, SIGINT and SIGTERM end the stream in place of the program: what has been written by then is still
// read. Its end takes the signal, so that whoever waits for the program sees how it ended.
class patient_reader {
  public:
    patient_reader();
    patient_reader(const patient_reader&) = delete;
    patient_reader& operator=(const patient_reader&) = delete;
    ~patient_reader();

    // As read(2), which it waits for.
    ssize_t read(int descriptor, std::span<char> into) const;

  private:
    struct sigaction before_[2]{};
    sigset_t mask_before_{};
};

}  // namespace lab
