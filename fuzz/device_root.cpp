// Any tree of files, directories, links and pipes as a device root: read, or refused in one line that begins with its
// name; what is read is the same after it was saved. Nothing beside the root changes.
//
// Input: entries, each a kind, an index into the names below, a length and that many bytes.

#include "lab/recordings/device_root.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/state/show.h"
#include "lab/state/stored_state.h"
#include "once.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view NAMES[] = {
    "mnt/vendor/nvcfg/vorn/batt_stress",
    "mnt/vendor/nvcfg/vorn/last_datetime",
    "mnt/vendor/nvcfg/vorn/toc_clients",
    "mnt/vendor/nvcfg/vorn/dyn_soc_params",
    "data/vendor/vorn/batt_stress",
    "data/vendor/vorn/batt_precharge_ubootflag",
    "data/vendor/vorn/mock_batt_stress_offset",
    "data/vendor/vorn/x\x1b]0;y\xC2\x9B",
    "properties",
    "mnt/vendor/nvcfg/vorn",
    "data/vendor/vorn",
    "mnt",
    "toc_clients",
};
enum class kind : std::uint8_t { file, directory, link, link_outside, pipe, count };
constexpr std::string_view FOREIGN = "somebody else's";

// A directory of this process in memory, gone when it ends.
struct workplace {
    fs::path path = "/dev/shm/vorn-fuzz-" + std::to_string(::getpid());
    std::string root = path / "root";
    std::string foreign = path / "foreign";
    workplace() { fs::create_directories(path); }
    ~workplace() {
        std::error_code gone;
        fs::remove_all(path, gone);
    }
};

void put(const fs::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

const workplace& here() {
    static const workplace the_one;
    return the_one;
}

void place(kind what, const fs::path& path, std::string_view bytes) {
    std::error_code error;  // a name may be taken, or its directory no directory
    if (fs::weakly_canonical(path.parent_path(), error) != path.parent_path()) return;  // not through a link
    fs::create_directories(path.parent_path(), error);
    if (fs::symlink_status(path, error).type() != fs::file_type::not_found) return;
    switch (what) {
        case kind::directory:
            fs::create_directory(path, error);
            break;
        case kind::link:
            fs::create_symlink(bytes.empty() ? "x" : std::string(bytes.substr(0, bytes.find('\0'))), path,
                               error);
            break;
        case kind::link_outside:
            fs::create_symlink(here().foreign, path, error);
            break;
        case kind::pipe:
            ::mkfifo(path.c_str(), 0600);
            break;
        default:
            put(path, bytes);
    }
}

void make_root(std::string_view input) {
    fs::remove_all(here().root);
    fs::remove_all(here().foreign);
    fs::create_directory(here().root);
    fs::create_directory(here().foreign);
    put(here().foreign + "/toc_clients", FOREIGN);
    while (input.size() > 2) {
        const auto what =
            static_cast<kind>(static_cast<unsigned char>(input[0]) % static_cast<unsigned>(kind::count));
        const std::string_view name = NAMES[static_cast<unsigned char>(input[1]) % std::size(NAMES)];
        const std::string_view bytes = input.substr(3, static_cast<unsigned char>(input[2]) * 2U);
        input.remove_prefix(3 + bytes.size());
        place(what, fs::path(here().root) / name, bytes);
    }
}

void expect_one_line(std::string_view what) {
    fuzz::expect(what.starts_with(here().root) && what.find('\n') == what.npos, "one line, with place");
}

void expect_foreign_untouched() {
    fuzz::expect(lab::read_file(here().foreign + "/toc_clients") == FOREIGN &&
                     std::distance(fs::directory_iterator(here().foreign), {}) == 1,
                 "nothing beside the root changes");
}

void show() {
    try {
        const lab::stored_state state = lab::read_stored_state(here().root);
        fuzz::expect(lab::show_as_text(state).ends_with('\n'), "whole lines");
        fuzz::expect(!lab::show_as_json(state).dump().empty(), "JSON");
    } catch (const lab::input_error& refused) {
        expect_one_line(refused.what());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    make_root({reinterpret_cast<const char*>(data), size});
    try {
        const lab::device_image read = lab::load_device_root(here().root);
        lab::require_savable_root(here().root);
        lab::staged_device_root(here().root, read).commit();
        const lab::device_image again = lab::load_device_root(here().root);
        fuzz::expect(again.files == read.files && again.properties == read.properties, "the same when saved");
    } catch (const lab::input_error& refused) {
        expect_one_line(refused.what());
    }
    show();
    expect_foreign_untouched();
    return 0;
}
