#include "lab/evidence/archive_walk.h"

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "lab/io/error.h"
#include "lab/io/input_file.h"

namespace lab {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t BLOCK_SIZE = 65536;
constexpr std::uint64_t RATIO_COUNTS_FROM = 16'000'000;  // bytes out; short texts of one letter are no attack
constexpr std::uint32_t MAX_FOLDER_DEPTH = 32;
constexpr std::size_t USTAR_AT = 257;

// Ends the walk of an input, as a limit was passed.
class limit_passed : public broken_stream {
    using broken_stream::broken_stream;
};

std::string below(const std::string& name, const std::string& member) {
    return name.empty() ? member : name + "/" + member;
}

}  // namespace

// A file of the host.
class archive_walk::host_stream : public byte_stream {
  public:
    host_stream(int descriptor, archive_walk& of) : descriptor_(descriptor), walk_(of) {
        struct stat about {};
        is_regular_ = ::fstat(descriptor_, &about) == 0 && S_ISREG(about.st_mode);
        if (is_regular_) walk_.size_of_inputs_ += static_cast<std::uint64_t>(about.st_size);
    }
    ~host_stream() override { ::close(descriptor_); }

    std::size_t read(char* buffer, std::size_t size) override {
        for (;;) {
            const ssize_t got = ::read(descriptor_, buffer, size);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) throw broken_stream(std::strerror(errno));
            walk_.note_bytes_in(static_cast<std::uint64_t>(got));
            if (walk_.progress_) walk_.progress_(walk_.bytes_in_, walk_.size_of_inputs_);
            return static_cast<std::size_t>(got);
        }
    }

    bool can_seek() const { return is_regular_; }
    std::int64_t seek(std::int64_t offset, int whence) { return ::lseek(descriptor_, offset, whence); }

  private:
    int descriptor_;
    archive_walk& walk_;
    bool is_regular_ = false;
};

// Bytes that are there already.
class archive_walk::given_stream : public byte_stream {
  public:
    given_stream(byte_stream& of, archive_walk& walk) : of_(of), walk_(walk) {}
    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t got = of_.read(buffer, size);
        walk_.note_bytes_in(got);
        return got;
    }

  private:
    byte_stream& of_;
    archive_walk& walk_;
};

// An archive under the library's hands, which asks `source` for its bytes.
struct archive_walk::opened {
    struct archive* handle = ::archive_read_new();
    byte_stream& source;
    host_stream* seekable;
    std::array<char, BLOCK_SIZE> block{};

    opened(byte_stream& of, host_stream* host) : source(of), seekable(host) {
        ::archive_read_support_format_zip(handle);
        ::archive_read_support_format_tar(handle);
        ::archive_read_support_format_raw(handle);
        ::archive_read_support_filter_gzip(handle);
        if (seekable != nullptr) {
            ::archive_read_set_seek_callback(
                handle, [](struct archive*, void* self, la_int64_t offset, int whence) -> la_int64_t {
                    return static_cast<opened*>(self)->seekable->seek(offset, whence);
                });
        }
        ::archive_read_set_read_callback(handle, &opened::give);
        ::archive_read_set_callback_data(handle, this);
    }
    opened(const opened&) = delete;
    opened& operator=(const opened&) = delete;
    ~opened() { ::archive_read_free(handle); }

    // The library is C: nothing may be thrown through it.
    static la_ssize_t give(struct archive* of, void* self, const void** bytes) {
        auto& me = *static_cast<opened*>(self);
        *bytes = me.block.data();
        try {
            return static_cast<la_ssize_t>(me.source.read(me.block.data(), me.block.size()));
        } catch (const broken_stream& broken) {
            ::archive_set_error(of, EIO, "%s", broken.what());
            return -1;
        }
    }

    std::string error() const {
        const char* const text = ::archive_error_string(handle);
        return text == nullptr ? "damaged" : text;
    }
};

class archive_walk::entry_stream : public byte_stream {
  public:
    entry_stream(opened& of, archive_walk& walk) : archive_(of), walk_(walk) {}

    std::size_t read(char* buffer, std::size_t size) override {
        const la_ssize_t got = ::archive_read_data(archive_.handle, buffer, size);
        if (got < 0) throw broken_stream(archive_.error() + " (at byte " + std::to_string(at_) + ")");
        at_ += static_cast<std::uint64_t>(got);
        walk_.note_bytes_out(static_cast<std::uint64_t>(got));
        return static_cast<std::size_t>(got);
    }

  private:
    opened& archive_;
    archive_walk& walk_;
    std::uint64_t at_ = 0;
};

std::string_view archive_kind(std::string_view head) {
    if (head.starts_with("PK\x03\x04") || head.starts_with("PK\x05\x06")) return "zip";
    if (head.starts_with("\x1f\x8b")) return "gzip";
    if (head.size() > USTAR_AT && head.substr(USTAR_AT).starts_with("ustar")) return "tar";
    return {};
}

void archive_walk::count_member() {
    members_ += 1;
    if (members_ > limits_.members)
        throw limit_passed("more than " + std::to_string(limits_.members) + " members: the rest is not read");
}

void archive_walk::note_bytes_in(std::uint64_t count) {
    bytes_in_ += count;
    if (bytes_in_ > limits_.bytes)
        throw limit_passed("larger than " + std::to_string(limits_.bytes) + " bytes: the rest is not read");
}

void archive_walk::note_bytes_out(std::uint64_t count) {
    bytes_out_ += count;
    if (bytes_out_ > limits_.bytes)
        throw limit_passed("unpacks to more than " + std::to_string(limits_.bytes) +
                           " bytes: the rest is not read");
    const bool is_bomb = bytes_out_ > RATIO_COUNTS_FROM && bytes_out_ / limits_.ratio > bytes_in_;
    if (is_bomb)
        throw limit_passed("unpacks to more than " + std::to_string(limits_.ratio) +
                           " times its size: the rest is not read");
}

void archive_walk::walk(const std::string& input) {
    std::error_code error;
    try {
        if (input != "-" && fs::is_directory(input, error)) {
            walk_folder(input, "", 0);
        } else {
            walk_file(input, "");
        }
    } catch (const limit_passed& limit) {
        trouble_("", limit.what());
    }
}

void archive_walk::walk_stream(const std::string& name, byte_stream& content) {
    given_stream given(content, *this);
    try {
        walk_content(name, given, 0);
    } catch (const limit_passed& limit) {
        trouble_("", limit.what());
    }
}

void archive_walk::walk_folder(const std::string& folder, const std::string& name, std::uint32_t depth) {
    if (depth > MAX_FOLDER_DEPTH) return trouble_(name, "folders within folders: too deep");
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator each(folder, error); !error && each != fs::directory_iterator();
         each.increment(error))
        entries.push_back(each->path());
    if (error && depth == 0) throw input_error(folder + ": " + error.message());
    if (error) trouble_(name, error.message());
    std::ranges::sort(entries);
    for (const fs::path& path : entries) {
        const std::string member = below(name, path.filename().string());
        const fs::file_status status = fs::symlink_status(path, error);
        if (fs::is_directory(status)) {
            walk_folder(path.string(), member, depth + 1);
        } else if (fs::is_regular_file(status)) {
            count_member();
            try {
                walk_file(path.string(), member);
            } catch (const input_error& unreadable) {
                trouble_(member, unreadable.what());
            }
        } else {
            trouble_(member,
                     fs::is_symlink(status) ? "a symbolic link, which is not followed" : "no regular file");
        }
    }
}

void archive_walk::walk_file(const std::string& path, const std::string& name) {
    host_stream file(open_to_read(path), *this);
    walk_content(name, file, 0);
}

void archive_walk::walk_content(const std::string& name, byte_stream& content, std::uint32_t depth) {
    peeked_stream peeked(content);
    if (!archive_kind(peeked.head()).empty()) return walk_archive(name, peeked, content, depth);
    if (!utf16_stream::is_utf16(peeked.head())) return handle_(name, peeked);
    utf16_stream text(peeked);
    peeked_stream peeked_text(text);
    handle_(name, peeked_text);
}

void archive_walk::walk_archive(const std::string& name, peeked_stream& peeked, byte_stream& content,
                                std::uint32_t depth) {
    if (depth >= limits_.depth) return trouble_(name, "archives within archives: too deep to be read");
    auto* host = dynamic_cast<host_stream*>(&content);
    if (host != nullptr && (!host->can_seek() || host->seek(0, SEEK_SET) != 0)) host = nullptr;
    const auto archive =
        std::make_unique<opened>(host != nullptr ? static_cast<byte_stream&>(*host) : peeked, host);
    if (::archive_read_open1(archive->handle) != ARCHIVE_OK) return trouble_(name, archive->error());
    for (;;) {
        struct archive_entry* entry = nullptr;
        const int result = ::archive_read_next_header(archive->handle, &entry);
        if (result == ARCHIVE_EOF) return;
        if (result < ARCHIVE_WARN) return trouble_(name, archive->error());
        const bool is_alone = ::archive_format(archive->handle) == ARCHIVE_FORMAT_RAW;
        if (!is_alone && ::archive_entry_filetype(entry) == AE_IFDIR) continue;
        count_member();
        const char* const path = ::archive_entry_pathname(entry);
        const std::string number = "member " + std::to_string(members_);
        const std::string member = is_alone ? name : below(name, path == nullptr ? number : path);
        if (!is_alone && ::archive_entry_filetype(entry) != AE_IFREG) {
            trouble_(member, "no regular file");
            continue;
        }
        entry_stream stream(*archive, *this);
        is_out_of_gzip_ = is_alone;
        walk_content(member, stream, depth + 1);
        is_out_of_gzip_ = false;
    }
}

}  // namespace lab
