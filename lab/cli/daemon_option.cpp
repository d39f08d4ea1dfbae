#include "lab/cli/daemon_option.h"

#include <fcntl.h>
#include <memory>
#include <string>

#include "lab/compare/build_runner.h"
#include "lab/io/error.h"
#include "lab/session/daemon_seat.h"

namespace lab {

void add_daemon_option(CLI::App& command) {
    const auto take = [](const std::string& program) {
        const other_build other = identify("--daemon", program);
        require_wire(other);
        build_identity both = this_build();
        both.daemon = other.identity.daemon;
        set_this_build(both);
        run_daemons_of(program);
    };
    command
        .add_option_function<std::string>("--daemon", take, "Run the daemon of another vorn-lab in this one")
        ->type_name("PROGRAM");
}

void add_daemon_wire_command(CLI::App& app) {
    const auto channel = std::make_shared<int>(-1);
    CLI::App& command = *app.add_subcommand("daemon-wire", "Run a daemon for another vorn-lab")->group("");
    command.add_option("CHANNEL", *channel, "Where it is told what to do")->required();
    command.callback([channel] {
        if (::fcntl(*channel, F_GETFD) < 0)
            throw input_error("daemon-wire: is for another vorn-lab to start");
        serve_daemon(*channel);
    });
}

}  // namespace lab
