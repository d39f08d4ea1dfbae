// The house keeps its floors: who may include whom, and what the daemon's code does without.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using names = std::set<std::string>;

// Each folder of src/ and the folders whose headers it may include. A feature knows another one only where it
// calls it.
const std::map<std::string, names> reach = {
    {"platform", {"platform"}},
    {"util", {"util", "platform"}},
    {"battery", {"battery", "util"}},
    {"charge_mgr", {"charge_mgr", "util"}},
    {"precharge", {"precharge", "util"}},
    {"monitors", {"monitors", "charge_mgr", "util"}},
    {"stress", {"stress", "charge_mgr", "util"}},
    {"dyn_soc", {"dyn_soc", "battery", "charge_mgr", "util"}},
    {"core",
     {"core", "battery", "charge_mgr", "dyn_soc", "monitors", "precharge", "stress", "util", "platform"}},
};

// Of the seam, the floors above see these three and none of its implementations.
const names seam = {"platform/android_log.h", "platform/os.h", "platform/properties.h"};

// Standard headers that neither allocate nor throw nor write to a stream.
const names plain_headers = {"algorithm", "array",    "bit",     "cerrno",     "climits",
                             "cmath",     "concepts", "cstdarg", "cstddef",    "cstdint",
                             "cstdio",    "cstdlib",  "cstring", "ctime",      "iterator",
                             "limits",    "numeric",  "utility", "type_traits"};

const std::regex include_line(R"(^\s*#\s*include\s+([<"])([^>"]+)[>"])");
const std::regex condition_line(R"(^\s*#\s*(if|ifdef|ifndef|elif)\b)");
const std::regex forbidden_word(
    R"(\b(new|delete|malloc|calloc|realloc|free|throw|try|catch|dynamic_cast|typeid|std::function|)"
    R"(virtual|virtual_device|thread|mutex|FRIEND_TEST)\b|for_test)");

std::string folder_of(const std::string& path) {
    return path.substr(0, path.find('/'));
}

// An implementation of the seam is at home on its platform and may use what it finds there.
bool is_platform_implementation(const std::string& path) {
    return std::count(path.begin(), path.end(), '/') == 2 && folder_of(path) == "platform";
}

std::string without_comments_and_strings(const std::string& line) {
    static const std::regex noise(R"("(\\.|[^"\\])*"|//.*$)");
    return std::regex_replace(line, noise, "");
}

bool may_include(const std::string& path, const std::string& header) {
    const auto own = reach.find(folder_of(path));
    if (own == reach.end() || own->second.count(folder_of(header)) == 0) return false;
    if (folder_of(header) != "platform") return true;
    const bool is_own_implementation = is_platform_implementation(path) &&
                                       header.substr(0, header.rfind('/')) == path.substr(0, path.rfind('/'));
    return seam.count(header) == 1 || is_own_implementation;
}

// What is wrong with a file of src/, one line each; `path` is relative to src/.
std::vector<std::string> faults(const std::string& path, const std::string& text) {
    std::vector<std::string> found;
    const auto report = [&](int line, const std::string& what) {
        found.push_back(path + ":" + std::to_string(line) + ": " + what);
    };
    const bool is_implementation = is_platform_implementation(path);
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        std::smatch match;
        if (std::regex_search(line, match, include_line)) {
            const bool is_own = match[1] == "\"";
            if (is_own && !may_include(path, match[2])) report(number, "may not include " + match[2].str());
            if (!is_own && !is_implementation && plain_headers.count(match[2]) == 0) {
                report(number, "is not a plain header: " + match[2].str());
            }
            continue;
        }
        if (is_implementation) continue;
        if (std::regex_search(line, condition_line)) report(number, "asks the preprocessor where it runs");
        const std::string code = without_comments_and_strings(line);
        if (std::regex_search(code, match, forbidden_word)) report(number, "says " + match.str());
    }
    return found;
}

std::vector<std::filesystem::path> sources_below(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const auto extension = entry.path().extension();
        if (extension == ".h" || extension == ".cpp") found.push_back(entry.path());
    }
    return found;
}

std::string content(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(includes, arrows_of_the_daemon_point_down) {
    const std::filesystem::path root = std::filesystem::path(VORN_SOURCE_DIR) / "src";
    const auto sources = sources_below(root);
    ASSERT_GT(sources.size(), 50U);
    for (const auto& source : sources) {
        for (const std::string& fault : faults(source.lexically_relative(root).string(), content(source))) {
            ADD_FAILURE() << fault;
        }
    }
}

TEST(includes, each_rule_finds_what_breaks_it) {
    const std::vector<std::pair<std::string, std::string>> bad = {
        {"util/metrics.cpp", "#include \"core/daemon.h\""},
        {"stress/bands.cpp", "#include \"core/persistent_files.h\""},
        {"monitors/short_detect.cpp", "#include \"platform/os.h\""},
        {"monitors/short_detect.cpp", "#include \"stress/stress_feature.h\""},
        {"charge_mgr/charge_mgr.cpp", "#include \"monitors/topoff_ctrl.h\""},
        {"battery/batt_info.cpp", "#include \"dyn_soc/dyn_soc.h\""},
        {"core/daemon.cpp", "#include \"lab/session.h\""},
        {"core/main.cpp", "#include \"platform/virtual/device.h\""},
        {"platform/linux/log.cpp", "#include \"platform/virtual/device.h\""},
        {"platform/os.h", "#include \"util/log.h\""},
        {"elsewhere/new_feature.cpp", "#include \"util/log.h\""},
        {"core/daemon.cpp", "#include <vector>"},
        {"core/daemon.cpp", "#include <unistd.h>"},
        {"util/log.h", "#ifdef __ANDROID__"},
        {"dyn_soc/dyn_soc.cpp", "  # if defined(SIMULATION)"},
        {"dyn_soc/dyn_soc.cpp", "int* a = new int;"},
        {"core/persistent_files.cpp", "void* b = realloc(a, 396);"},
        {"stress/trip.cpp", "void reset_for_test();"},
        {"util/queue.h", "virtual int size();"},
    };
    for (const auto& [path, line] : bad) EXPECT_EQ(faults(path, line).size(), 1U) << path << ": " << line;

    const std::vector<std::pair<std::string, std::string>> good = {
        {"util/log.h", "#include \"platform/android_log.h\""},
        {"core/wall_clock.cpp", "#include \"platform/os.h\""},
        {"dyn_soc/update.cpp", "#include \"battery/batt_info.h\"\n#include <cmath>"},
        {"platform/virtual/platform.cpp", "#include \"platform/virtual/device.h\"\n#include <map>\n#if 1"},
        {"stress/trip.cpp", "// a new table\nLOG(\"try again\");"},
    };
    for (const auto& [path, text] : good) EXPECT_EQ(faults(path, text), std::vector<std::string>{}) << path;
}

TEST(includes, no_source_file_is_too_long_to_be_read) {
    for (const char* folder : {"src", "lab"}) {
        for (const auto& source : sources_below(std::filesystem::path(VORN_SOURCE_DIR) / folder)) {
            const std::string text = content(source);
            EXPECT_LT(std::count(text.begin(), text.end(), '\n'), 400) << source;
        }
    }
}

}  // namespace
