// work_folder: a folder for files that nobody wants when the work is done.
#pragma once

#include <string>

namespace lab {

// Made in the folder for temporary files (TMPDIR). It goes with the object, and also when the program is killed: a
// process of its own waits for that. Throws input_error when it cannot be made. Neither copied nor moved.
class work_folder {
  public:
    work_folder();
    work_folder(const work_folder&) = delete;
    work_folder& operator=(const work_folder&) = delete;
    ~work_folder();

    const std::string& path() const { return path_; }

  private:
    std::string path_;
    int alive_ = -1;  // its other end hears when the last process that holds it is gone
    int keeper_ = -1;
};

}  // namespace lab
