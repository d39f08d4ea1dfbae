// What input_file and output_file do with file descriptors.
#pragma once

#include <string>
#include <string_view>

namespace lab {

// A temporary file without a name, gone when it is closed; negative when there can be none, for the reason in errno.
int open_unnamed();

// The one spelling of a file's name: without "." and "..", and where its links lead, be that file there or not.
std::string true_name(const std::string& path);

// Writes all of it; false when that fails, for the reason in errno.
bool write_all(int descriptor, std::string_view bytes);

}  // namespace lab
