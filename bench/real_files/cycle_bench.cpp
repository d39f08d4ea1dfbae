// One cycle of the daemon on real files, beside a bare loop of the same system calls: what the daemon adds to
// what the sampling itself costs.
//
// The files lie in a temporary directory, which takes the place of the root directory; log and properties
// are in memory.

#include <array>
#include <benchmark/benchmark.h>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

#include "core/daemon.h"
#include "platform/android_log.h"
#include "platform/os.h"
#include "platform/properties.h"

namespace {

int root = -1;                  // descriptor of the temporary directory
std::int64_t extra_time_s = 0;  // the clocks run 10 s a cycle ahead
std::int64_t log_lines = 0;

int open_below_root(const char* path, int flags, mode_t mode) {
    return ::openat(root, path + 1, flags | O_CLOEXEC, mode);
}

std::int64_t clock_seconds(clockid_t clock) {
    timespec now = {};
    ::clock_gettime(clock, &now);
    return now.tv_sec + extra_time_s;
}

}  // namespace

namespace os {

int open_to_read(const char* path) {
    return open_below_root(path, O_RDONLY, 0);
}
int open_to_read_or_create(const char* path) {
    return open_below_root(path, O_RDONLY | O_CREAT, 0444);
}
int open_to_write(const char* path) {
    return open_below_root(path, O_RDWR | O_CREAT, 0644);
}
std::ptrdiff_t read(int descriptor, void* buffer, std::size_t size) {
    return ::read(descriptor, buffer, size);
}
std::ptrdiff_t write(int descriptor, const void* buffer, std::size_t size) {
    return ::write(descriptor, buffer, size);
}
void close(int descriptor) {
    ::close(descriptor);
}
bool is_readable_and_writable(const char* path) {
    return ::faccessat(root, path + 1, R_OK | W_OK, 0) == 0;
}
std::int64_t boot_time_s() {
    return clock_seconds(CLOCK_BOOTTIME);
}
std::int64_t real_time_s() {
    return clock_seconds(CLOCK_REALTIME);
}
std::int64_t wall_time_s() {
    return ::time(nullptr) + extra_time_s;
}
bool local_time(std::int64_t utc_s, std::tm& local) {
    const auto time = static_cast<std::time_t>(utc_s);
    return ::localtime_r(&time, &local) != nullptr;
}
void sleep_s(unsigned seconds) {
    extra_time_s += seconds;
}

}  // namespace os

int __android_log_print(int, const char*, const char*, ...) {
    ++log_lines;
    return 1;
}
int __android_log_buf_write(int, int, const char*, const char*) {
    return 1;
}
// The stress property is as the daemon leaves it, so that no reboot is asked for.
int property_get(const char* name, char* value, const char* default_value) {
    const bool is_stress = std::strcmp(name, "persist.vendor.vorn.batt_stress") == 0;
    std::strcpy(value, is_stress ? "4450" : default_value);
    return static_cast<int>(std::strlen(value));
}
int property_set(const char*, const char*) {
    return 0;
}

namespace {

// What it reads in a cycle, and the vendor, which it reads at start-up only, last.
constexpr std::pair<const char*, const char*> FILES[] = {
    {"/data/vendor/vorn/mock_n_day_threshold_sec", ""},
#define VORN_NODE(path, text) {path, text "\n"},
#include "tests/support/ordinary_device.def"
#undef VORN_NODE
};
constexpr std::size_t FILES_PER_CYCLE = std::size(FILES) - 1;

// The temporary directory with the files, as `root`; removed at the end.
class file_tree {
  public:
    file_tree() {
        std::string name = (std::filesystem::temp_directory_path() / "vorn_bench_XXXXXX").string();
        path_ = ::mkdtemp(name.data());
        std::filesystem::create_directories(path_ / "mnt/vendor/nvcfg/vorn");
        for (const auto& [path, text] : FILES) {
            const std::filesystem::path file = path_ / (path + 1);
            std::filesystem::create_directories(file.parent_path());
            std::ofstream(file) << text;
        }
        root = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }
    ~file_tree() {
        ::close(root);
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

  private:
    std::filesystem::path path_;
};

// 11 files opened, read and closed, two clocks read.
void bare_system_calls(benchmark::State& state) {
    const file_tree files;
    char text[16];
    for (auto _ : state) {
        benchmark::DoNotOptimize(os::boot_time_s());
        for (std::size_t i = 0; i < FILES_PER_CYCLE; ++i) {
            const int descriptor = os::open_to_read_or_create(FILES[i].first);
            benchmark::DoNotOptimize(os::read(descriptor, text, sizeof text));
            os::close(descriptor);
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(bare_system_calls);

void daemon_cycle_on_real_files(benchmark::State& state) {
    const file_tree files;
    daemon_start();
    daemon_cycle();
    log_lines = 0;
    for (auto _ : state) daemon_cycle();
    state.SetItemsProcessed(state.iterations());
    state.counters["log_lines"] = static_cast<double>(log_lines);
}
BENCHMARK(daemon_cycle_on_real_files);

}  // namespace
