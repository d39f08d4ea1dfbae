// What is made from the command line: help, completion, manual. They are held against the commands themselves.

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <gmock/gmock.h>

#include "lab/command_tree.h"
#include "lab/commands/commands.h"
#include "lab/completion.h"
#include "lab/help_format.h"
#include "lab/manual.h"
#include "tests/support/command.h"
#include "tests/support/directory.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

constexpr std::size_t SCREEN_LINES = 24;

struct command {
    std::vector<std::string> path;
    const CLI::App* app;
};

void collect(const CLI::App& app, const std::vector<std::string>& path, std::vector<command>& found) {
    found.push_back({path, &app});
    for (const CLI::App* each : lab::commands_of(app)) {
        auto below = path;
        below.push_back(each->get_name());
        collect(*each, below, found);
    }
}

class CommandLine : public testing::Test {
  protected:
    CommandLine() {
        lab::add_commands(app);
        collect(app, {}, commands);
    }

    CLI::App app{"", "vorn-lab"};
    std::vector<command> commands;
    test::temporary_directory dir;
};

// The output of a shell command, in lines.
std::vector<std::string> lines_of(const std::string& shell_command) {
    std::vector<std::string> lines;
    FILE* const pipe = ::popen(shell_command.c_str(), "r");
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
        lines.emplace_back(line.data());
        if (lines.back().ends_with('\n')) lines.back().pop_back();
    }
    ::pclose(pipe);
    return lines;
}

bool is_there(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
}

std::size_t display_width(std::string_view line) {
    return static_cast<std::size_t>(
        std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace

TEST_F(CommandLine, HelpFitsAScreenForEachCommand) {
    ASSERT_GE(commands.size(), 8U);
    for (const command& each : commands) {
        auto arguments = each.path;
        arguments.emplace_back("--help");
        const auto help = test::run_command(arguments, dir.path());
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.err, "");
        std::istringstream lines(help.out);
        std::size_t count = 0;
        for (std::string line; std::getline(lines, line); ++count)
            EXPECT_LE(display_width(line), lab::HELP_WIDTH) << line;
        EXPECT_LE(count, SCREEN_LINES) << help.out;
    }
}

TEST_F(CommandLine, ManualTellsOfEveryCommandAndOption) {
    const std::string page = lab::manual_page(app);
    for (const command& each : commands) {
        if (!lab::commands_of(*each.app).empty()) continue;
        std::string path;
        for (const std::string& word : each.path) path += (path.empty() ? "" : " ") + word;
        const std::size_t begin = page.find("\n.Ss " + path + "\n");
        ASSERT_NE(begin, std::string::npos) << path;
        const std::string section = page.substr(begin, page.find("\n.Ss ", begin + 1) - begin);
        for (const CLI::Option* option : lab::options_of(*each.app)) {
            if (option == each.app->get_help_ptr()) continue;
            EXPECT_THAT(section, HasSubstr("Fl -" + option->get_lnames().at(0))) << path;
        }
        for (const CLI::Option* argument : lab::arguments_of(*each.app))
            EXPECT_THAT(section, HasSubstr("Ar \\&" + argument->get_name())) << path;
    }
    if (!is_there("mandoc")) GTEST_SKIP() << "no mandoc here to check the pages";
    dir.put("vorn-lab.1", page);
    // The pages refer to each other before they are installed.
    for (const std::string& file : {dir / "vorn-lab.1", std::string(VORN_SOURCE_DIR) + "/docs/man/vorn.8"}) {
        EXPECT_THAT(lines_of("mandoc -Tlint '" + file + "' | grep -v 'referenced manual not found'"),
                    IsEmpty());
    }
}

TEST_F(CommandLine, BashCompletesWhatMayFollow) {
    const std::string script = dir.put("completion", lab::bash_completion(app));
    dir.put("some.csv", "");
    dir.put("some_dir/file", "");
    // Completes the last of the words.
    const auto complete = [&](const std::string& words) {
        return lines_of("cd '" + dir.path() + "' && bash -c 'source \"" + script + "\"; COMP_WORDS=(" +
                        words +
                        "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _vorn_lab; printf \"%s\\n\" "
                        "\"${COMPREPLY[@]}\"' 2>&1");
    };
    for (const command& each : commands) {
        std::string words = "vorn-lab";
        for (const std::string& word : each.path) words += " " + word;
        std::vector<std::string> options;
        for (const CLI::Option* option : lab::options_of(*each.app)) {
            for (const std::string& name : lab::names_of(*option)) options.push_back(name);
        }
        EXPECT_THAT(complete(words + " -"), testing::UnorderedElementsAreArray(options)) << words;
        std::vector<std::string> below;
        for (const CLI::App* next : lab::commands_of(*each.app)) below.push_back(next->get_name());
        if (!below.empty()) {
            EXPECT_THAT(complete(words + " \"\""), testing::UnorderedElementsAreArray(below));
        }
    }
    EXPECT_THAT(complete("vorn-lab rep"), Contains("replay"));
    EXPECT_THAT(complete("vorn-lab replay some"), IsSupersetOf({"some.csv", "some_dir"}));
    EXPECT_THAT(complete("vorn-lab replay --root some"), testing::ElementsAre("some_dir"));
    EXPECT_THAT(complete("vorn-lab metrics --record topoff"),
                testing::ElementsAre("topoff_set", "topoff_cleared"));
    EXPECT_THAT(complete("vorn-lab state set dir toc"), testing::ElementsAre("toc_clients="));
    EXPECT_THAT(complete("vorn-lab completion z"), testing::ElementsAre("zsh"));
}

TEST_F(CommandLine, ZshCompletionHasEveryCommandAndOption) {
    const std::string script = lab::zsh_completion(app);
    for (const command& each : commands) {
        std::string function = "\n_vorn-lab";
        for (const std::string& word : each.path) function += "_" + word;
        const std::size_t begin = script.find(function + "() {\n");
        ASSERT_NE(begin, std::string::npos) << function;
        const std::string body = script.substr(begin, script.find("\n}\n", begin) - begin);
        for (const CLI::Option* option : lab::options_of(*each.app)) {
            for (const std::string& name : lab::names_of(*option)) {
                EXPECT_THAT(body, HasSubstr("'*" + name + "["));
            }
        }
        for (const CLI::App* next : lab::commands_of(*each.app))
            EXPECT_THAT(body, HasSubstr("'" + next->get_name() + ":"));
    }
}

// In a terminal: what stands there after the tabulator, and what is offered.
TEST_F(CommandLine, ZshCompletesWhatMayFollow) {
    if (!is_there("zsh")) GTEST_SKIP() << "no zsh here";
    dir.put("_vorn-lab", lab::zsh_completion(app));
    dir.put("some.csv", "");
    dir.put("some_dir/file", "");
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"vorn-lab st", {"vorn-lab state "}},
        {"vorn-lab ", {"replay  ", "simulate  ", "Print the battery curves"}},
        {"vorn-lab state ", {"diff ", "fields ", "set ", "show "}},
        {"vorn-lab state set some_dir toc", {"toc_clients=|"}},
        {"vorn-lab replay --ev", {"--events "}},
        {"vorn-lab replay --root some", {"some_dir/|"}},
        {"vorn-lab replay some", {"some.csv", "some_dir/"}},
        {"vorn-lab metrics --record topoff_s", {"topoff_set "}},
        {"vorn-lab completion z", {"zsh "}},
    };
    std::string command =
        "cd '" + dir.path() + "' && zsh -f '" + VORN_SOURCE_DIR + "/tests/lab/zsh_complete.zsh' .";
    for (const auto& [typed, expected] : cases) command += std::string(" '") + typed + "'";
    const auto shown = lines_of(command + " 2>&1");
    ASSERT_EQ(shown.size(), std::size(cases)) << testing::PrintToString(shown);
    for (std::size_t i = 0; i < shown.size(); ++i) {
        for (const char* each : cases[i].second) EXPECT_THAT(shown[i], HasSubstr(each)) << cases[i].first;
    }
}
