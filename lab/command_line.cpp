#include "lab/command_line.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "lab/commands/commands.h"
#include "lab/error.h"
#include "lab/session.h"

namespace lab {

namespace {

constexpr int RUN_FAILED = 1;
constexpr int BAD_INPUT = 2;

int report(const std::exception& thrown, int exit_status) {
    std::cerr << "vorn-lab: " << thrown.what() << '\n';
    return exit_status;
}

int run(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
        std::cout.flush();
        if (!std::cout) throw input_error("standard output: write failed");
        return 0;
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& usage) {
        return report(usage, BAD_INPUT);
    } catch (const daemon_crashed& crash) {
        return report(crash, RUN_FAILED);
    } catch (const expectation_failed& failure) {
        return report(failure, RUN_FAILED);
    } catch (const std::exception& other) {
        return report(other, BAD_INPUT);
    }
}

}  // namespace

int run_command_line(int argc, const char* const* argv) {
    CLI::App app("Runs the battery charge management daemon vorn on a virtual device.", "vorn-lab");
    app.set_version_flag("--version", "vorn-lab " VORN_VERSION);
    add_commands(app);
    return run(app, argc, argv);
}

}  // namespace lab
