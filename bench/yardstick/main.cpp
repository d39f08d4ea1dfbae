// How good the estimator is: docs/estimator.md holds and explains the figures.

#include <exception>
#include <filesystem>
#include <iostream>

#include "bench/yardstick/yardstick.h"

// The recordings are too large for the repository; by default they are looked for beside it.
int main(int argc, char** argv) {
    if (argc > 2) {
        std::cerr << "usage: vorn_yardstick [DIRECTORY_OF_RECORDINGS]\n";
        return 2;
    }
    const std::string directory = argc == 2 ? argv[1] : VORN_SOURCE_DIR "/../shared/traces";
    try {
        yardstick::run_drives();
        if (std::filesystem::is_directory(directory)) {
            yardstick::run_recordings(directory);
        } else {
            std::cout << "recordings: skipped, there is no directory " << directory << '\n';
        }
    } catch (const std::exception& failure) {
        std::cerr << "vorn_yardstick: " << failure.what() << '\n';
        return 2;
    }
    return 0;
}
