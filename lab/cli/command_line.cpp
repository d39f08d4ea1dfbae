#include "lab/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "lab/cli/command_tree.h"
#include "lab/cli/commands.h"
#include "lab/compare/identity.h"
#include "lab/io/error.h"
#include "lab/io/harmless_stream.h"
#include "lab/io/nearest.h"
#include "lab/io/text.h"
#include "lab/io/unfinished_files.h"
#include "lab/report/provenance.h"
#include "lab/session/daemon_seat.h"
#include "lab/session/session.h"

namespace lab {

namespace {

constexpr int NO = 1;
constexpr int TROUBLE = 2;
constexpr int NO_ANSWER = 3;

int report(std::string_view message, int exit_status) {
    // A path in it may hold a line end.
    if (!message.empty()) std::cerr << "vorn-lab: " << on_one_line(message) << '\n';
    return exit_status;
}

bool is_option(const std::string& word) {
    return word.size() > 1 && word.starts_with('-');
}

std::vector<std::string> option_names(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* each : options_of(command)) {
        const std::vector<std::string> more = names_of(*each);
        names.insert(names.end(), more.begin(), more.end());
    }
    return names;
}

std::vector<std::string> command_names(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* each : commands_of(app)) names.push_back(each->get_name());
    return names;
}

// "; did you mean --json?", or nothing.
std::string probably(std::string_view given, const std::vector<std::string>& known) {
    const std::string_view name = given.substr(0, given.find('='));
    const auto letters = [](std::string_view word) {
        return word.substr(std::min(word.find_first_not_of('-'), word.size()));
    };
    std::vector<std::string_view> words;
    for (const std::string& each : known) words.push_back(letters(each));
    const auto word = nearest(letters(name), words);
    if (!word) return {};
    return "; did you mean " +
           known[static_cast<std::size_t>(std::ranges::find(words, *word) - words.begin())] + "?";
}

// What is wrong with the words of the command line, and where the command's usage is told.
std::string usage_message(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App* command = &app;
    std::string path = app.get_name();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().back();
        path += " " + command->get_name();
    }
    const auto rest = command->remaining();
    std::string message = error.what();
    if (const auto option = std::ranges::find_if(rest, is_option); option != rest.end()) {
        message = "no such option: " + for_message(*option) + probably(*option, option_names(*command));
    } else if (!commands_of(*command).empty()) {
        message = rest.empty() ? "a command is missing"
                               : "no such command: " + for_message(rest.front()) +
                                     probably(rest.front(), command_names(*command));
    } else if (!rest.empty()) {
        message = "one word too many: " + for_message(rest.front());
    }
    return message + " (see " + path + " --help)";
}

// For a person, and for a comparison that wants to know what two builds have in common.
std::string version_text() {
    const build_identity& build = this_build();
    return "vorn-lab " + program_text() + "\ndaemon " + build.daemon + "\nlab " + build.lab + "\nwire " +
           std::to_string(DAEMON_WIRE_VERSION);
}

int run(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
        std::cout.flush();
        if (!std::cout) throw input_error("standard output: write failed");
        return 0;
    } catch (const CLI::Success& help) {
        app.exit(help);
        std::cout.flush();
        return std::cout ? 0 : report("standard output: write failed", TROUBLE);
    } catch (const CLI::ParseError& usage) {
        return report(usage_message(app, usage), TROUBLE);
    } catch (const daemon_crashed& crash) {
        return report(crash.what(), NO);
    } catch (const answer_is_no& answer) {
        std::cout.flush();
        return report(answer.what(), NO);
    } catch (const no_answer& nothing) {
        std::cout.flush();
        return report(std::string("no answer: ") + nothing.what(), NO_ANSWER);
    } catch (const input_error& trouble) {
        return report(trouble.what(), TROUBLE);
    } catch (const std::system_error& refused) {
        return report(std::string("this machine refuses: ") + refused.what(), TROUBLE);
    } catch (const std::bad_alloc&) {
        return report("this machine has not enough memory", TROUBLE);
    } catch (const std::exception& fault) {
        return report(std::string("a fault of vorn-lab itself: ") + fault.what(), NO_ANSWER);
    }
}

}  // namespace

int run_command_line(int argc, const char* const* argv) {
    CLI::App app("Runs the battery charge management daemon vorn on a virtual device.", "vorn-lab");
    app.set_version_flag("--version", version_text());
    add_commands(app);
    remove_unfinished_on_signals();
    // What goes into a file or a program keeps its bytes.
    const harmless_stream messages(std::cerr);
    std::optional<harmless_stream> shown;
    if (::isatty(STDOUT_FILENO) != 0) shown.emplace(std::cout);
    return run(app, argc, argv);
}

}  // namespace lab
