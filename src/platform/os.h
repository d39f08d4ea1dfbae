// What the daemon asks of its operating system: files, clocks, local time, sleep.
//
// Every call that fails sets errno. A descriptor is 0 or more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace os {

// Makes the process fit to run the daemon; to be called first, and once. False, said in the log, when it must not
// run: another instance does.
bool begin_process();

// The three ways the daemon opens a file. Each returns a descriptor, or -1. None ever waits. Outside /sys only a
// regular file can be opened: a link, a directory, a FIFO or a device fails as if it could not be.
int open_to_read(const char* path);            // must exist
int open_to_read_or_create(const char* path);  // created empty, mode 0444, when missing
int open_to_write(const char* path);           // read and write, created with mode 0644, never truncated

// One transfer each: the number of bytes moved (which may be less than `size`), or -1. What is written into an empty
// file outlives a power cut once write() returns; anything else may be lost until the system has flushed it.
std::ptrdiff_t read(int descriptor, void* buffer, std::size_t size);
std::ptrdiff_t write(int descriptor, const void* buffer, std::size_t size);
void close(int descriptor);

// Whether this process may read and write the existing file `path`.
bool is_readable_and_writable(const char* path);

// Whole seconds of CLOCK_BOOTTIME (runs on in suspend), of CLOCK_REALTIME, and of time().
std::int64_t boot_time_s();
std::int64_t real_time_s();
std::int64_t wall_time_s();

// Breaks `utc_s` (seconds since 1970) down into local time. False when it cannot.
bool local_time(std::int64_t utc_s, std::tm& local);

// Ends the cycle.
void sleep_s(unsigned seconds);

}  // namespace os
