// A device's files and properties as a directory of the host:
//
//     DIR/mnt/vendor/nvcfg/vorn/*  and  DIR/data/vendor/vorn/*    the files, byte for byte
//     DIR/properties                                              one name=value a line
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "lab/io/output_file.h"
#include "lab/session/course.h"

namespace lab {

// Reads the directory, which is somebody's evidence and stays as it is. It must exist; what is missing of it is
// empty, subdirectories of the two are passed over. Throws input_error that names what cannot be read, a link or
// special file where a file should be, and a folder that holds other things than a device.
device_image load_device_root(const std::string& directory);

// Throws the input_error that staged_device_root would throw later, as far as that can be told: better before a
// long run than after it.
void require_savable_root(const std::string& directory);

// Makes the directory hold `image`, in two steps. The first writes everything aside, missing directories included,
// and changes no file; the second renames, so a file is never seen in part, and removes the files that are gone. Both
// throw input_error that names what cannot be written. Move only.
class staged_device_root {
  public:
    staged_device_root(const std::string& directory, const device_image& image);
    void commit();

  private:
    std::filesystem::path root_;
    std::vector<output_file> files_;
    std::set<std::string> kept_;  // paths on the device
};

}  // namespace lab
