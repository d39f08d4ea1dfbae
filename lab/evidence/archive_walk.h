// Every file that a device's evidence holds, wherever it is packed: folders, zip, tar, gzip, one within the other.
//
// What something is, its bytes say and not its name: text in a file called .zip is text. Nothing is ever unpacked to
// disk, and no member is kept: each is a stream that is handed over once.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "lab/evidence/byte_stream.h"

namespace lab {

// What a hostile archive cannot go beyond. Each limit says so in the message of the source that it ends.
struct walk_limits {
    std::uint64_t members = 50'000;                // of all archives and folders together
    std::uint64_t bytes = std::uint64_t{1} << 36;  // that come out of them, together
    std::uint64_t ratio = 1'100;  // bytes out for each byte in, past the first 16 MB; deflate ends at 1032
    std::uint32_t depth = 4;      // archives within archives
};

class archive_walk {
  public:
    // `name` is the way to the file below the input, empty for an input that is the file itself.
    using file_handler = std::function<void(const std::string& name, peeked_stream& content)>;
    // A file, folder or archive that could not be read (on): why.
    using trouble_handler = std::function<void(const std::string& name, const std::string& why)>;
    // Bytes of the inputs read so far, and of all of them (0: not known).
    using progress_handler = std::function<void(std::uint64_t read, std::uint64_t of)>;

    archive_walk(file_handler handle, trouble_handler trouble, walk_limits limits = {})
        : handle_(std::move(handle)), trouble_(std::move(trouble)), limits_(limits) {}

    void on_progress(progress_handler progress) { progress_ = std::move(progress); }

    // Walks an input; "-" is standard input. Folders come in the order of their names. Throws input_error when the
    // input itself cannot be opened; all else is told to the trouble handler.
    void walk(const std::string& input);

    // The same for bytes that are there already.
    void walk_stream(const std::string& name, byte_stream& content);

    // Whether the file at hand came out of a gzip that holds nothing else, whose name it keeps.
    bool is_out_of_gzip() const { return is_out_of_gzip_; }

  private:
    class host_stream;
    class given_stream;
    class entry_stream;
    struct opened;

    void walk_folder(const std::string& folder, const std::string& name, std::uint32_t depth);
    void walk_file(const std::string& path, const std::string& name);
    void walk_content(const std::string& name, byte_stream& content, std::uint32_t depth);
    void walk_archive(const std::string& name, peeked_stream& peeked, byte_stream& content,
                      std::uint32_t depth);
    void count_member();
    void note_bytes_in(std::uint64_t count);
    void note_bytes_out(std::uint64_t count);

    file_handler handle_;
    trouble_handler trouble_;
    progress_handler progress_;
    walk_limits limits_;
    std::uint64_t members_ = 0;
    bool is_out_of_gzip_ = false;
    std::uint64_t bytes_in_ = 0;
    std::uint64_t bytes_out_ = 0;
    std::uint64_t size_of_inputs_ = 0;
};

// "zip", "gzip", "tar"; empty when these first bytes begin no archive that can be read.
std::string_view archive_kind(std::string_view head);

}  // namespace lab
