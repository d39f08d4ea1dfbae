// A directory of its own for a test, removed at its end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace test {

class temporary_directory {
  public:
    temporary_directory() {
        std::string name = (std::filesystem::temp_directory_path() / "vorn_test_XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
        path_ = name;
    }
    temporary_directory(const temporary_directory&) = delete;
    temporary_directory& operator=(const temporary_directory&) = delete;
    ~temporary_directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    // The name of an entry of it.
    std::string operator/(const std::string& entry) const { return (path_ / entry).string(); }
    std::string path() const { return path_.string(); }

    // Writes a file, with the directories it needs; returns its name.
    std::string put(const std::string& entry, const std::string& bytes) const {
        const std::filesystem::path path = path_ / entry;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
        return path.string();
    }
    // A file's bytes; "(missing)" when there is none.
    std::string get(const std::string& entry) const {
        std::ifstream file(path_ / entry, std::ios::binary);
        if (!file) return "(missing)";
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::size_t count_entries() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::recursive_directory_iterator(path_), {}));
    }

  private:
    std::filesystem::path path_;
};

}  // namespace test
