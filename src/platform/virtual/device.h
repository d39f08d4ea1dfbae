// The virtual device: files, properties and clocks in memory, behind the seam of the three platform headers.
//
// One device per process. Whoever drives the daemon sets the device before each cycle and hears of every
// visible effect through `effects`. Nothing here depends on the host's clock, files or environment, except
// that local time follows the process's TZ.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace virtual_device {

constexpr std::int64_t BOOT_TIME_AT_START_S = 20;  // CLOCK_BOOTTIME when the daemon starts

// Files under these can be created; any other missing file stays missing.
constexpr std::string_view DATA_DIR = "/data/vendor/vorn/";
constexpr std::string_view NVCFG_DIR = "/mnt/vendor/nvcfg/vorn/";

// Properties that begin with this outlive a restart of the daemon.
constexpr std::string_view PERSISTENT_PREFIX = "persist.";

struct file {
    std::string path;
    int descriptor = -1;  // the same at every open: nothing reads on from where another read ended
    std::string bytes;
    bool exists = false;
    bool can_be_created = false;
    bool open_fails = false;
    bool read_fails = false;
    bool write_fails = false;

    void put(std::string_view content) {
        bytes.assign(content);
        exists = true;
    }
    void remove() {
        bytes.clear();
        exists = false;
    }
};

// A platform call that can be made to fail by `interceptor`.
enum class operation { open, read, write, property_set, property_get, clock, local_time };

// Lets a test decide the outcome of each platform call. Returns what the call may do: FAIL, or how many
// bytes it may move (PASS for all).
constexpr std::ptrdiff_t PASS = PTRDIFF_MAX;
constexpr std::ptrdiff_t FAIL = -1;
struct interceptor {
    void* context = nullptr;
    std::ptrdiff_t (*decide)(void* context, operation kind, std::string_view target,
                             std::size_t size) = nullptr;
};

// Told of every visible effect, in order. Each may be null.
struct effects {
    void* context = nullptr;
    void (*log)(void* context, int priority, const char* tag, const char* text) = nullptr;
    void (*metric)(void* context, int buffer, int priority, const char* tag, const char* text) = nullptr;
    void (*property_set)(void* context, const char* name, const char* value, int result) = nullptr;
    void (*write)(void* context, const std::string& path, const void* data, std::size_t size,
                  std::ptrdiff_t result) = nullptr;
    void (*sleep)(void* context, unsigned seconds) = nullptr;
};

class device {
  public:
    // The file of that path, made (as missing) on first use. The reference stays good.
    file& at(std::string_view path);
    file* find(std::string_view path);  // null when never mentioned

    // All that were ever mentioned, by descriptor.
    const std::vector<file*>& files() const { return by_descriptor_; }

    // All files that exist under the two directories, in path order.
    std::vector<const file*> state_files() const;

    // Sets one of a file's three fault switches.
    void set_fault(file& of, bool file::*which);
    // Makes property_set of `name` fail, or succeed again.
    void fail_property_set(std::string_view name, bool fails);
    void clear_faults();                                                      // every file's and property's
    const std::vector<file*>& faulty_files() const { return faulty_files_; }  // each once per switch set
    const std::vector<std::string>& failing_properties() const { return failing_properties_; }

    // Without allocation for a property that is there.
    void set_property(std::string_view name, std::string_view value);

    // Drops what a restart of the device or daemon drops: properties that do not begin with "persist.".
    void forget_volatile_properties();

    std::map<std::string, std::string, std::less<>> properties;
    std::int64_t elapsed_s = 0;    // CLOCK_BOOTTIME is this much beyond BOOT_TIME_AT_START_S
    std::int64_t real_time_s = 0;  // CLOCK_REALTIME and time()
    effects told;
    interceptor outcome;

    // Used by the platform functions.
    int open(file& target, bool may_create) {
        if (!target.exists || target.open_fails || outcome.decide != nullptr)
            return open_otherwise(target, may_create);
        ++open_count_;
        return target.descriptor;
    }
    // As at(), but a constant's address that was seen before is not looked for.
    file& at_address(const char* path) {
        known_path& known =
            known_paths_[(reinterpret_cast<std::uintptr_t>(path) / CONSTANTS_APART) % known_paths_.size()];
        return known.address == path ? *known.target : find_address(path, known);
    }
    file* opened(int descriptor) { return by_descriptor_[static_cast<std::size_t>(descriptor)]; }
    void close(int /*descriptor*/) { --open_count_; }
    int open_count() const { return open_count_; }  // opened and not closed
    bool property_set_fails(std::string_view name) const;
    std::ptrdiff_t decide(operation kind, std::string_view target, std::size_t size) const {
        return outcome.decide == nullptr ? PASS : outcome.decide(outcome.context, kind, target, size);
    }

  private:
    static constexpr std::size_t CONSTANTS_APART = 16;  // bytes, as a rule
    struct known_path {
        const char* address = nullptr;
        file* target = nullptr;
    };
    file& find_address(const char* path, known_path& known);
    int open_otherwise(file& target, bool may_create);
    std::array<known_path, 64> known_paths_;
    std::unordered_map<std::string_view, std::unique_ptr<file>> files_;
    std::vector<file*> by_descriptor_;
    int open_count_ = 0;
    std::vector<std::string> failing_properties_;
    std::vector<file*> faulty_files_;
};

// The device of this process.
inline device instance;
inline device& the_device() {
    return instance;
}

// Makes it a new one: no file, no property, clocks at zero, nobody listening. References into it end.
inline void reset_device() {
    instance = {};
}

}  // namespace virtual_device
