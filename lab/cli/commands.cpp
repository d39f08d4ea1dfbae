#include "lab/cli/commands.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "lab/cli/daemon_option.h"
#include "lab/cli/help_format.h"

namespace lab {

void add_commands(CLI::App& app) {
    app.formatter(std::make_shared<help_format>());
    app.require_subcommand(1);
    add_replay_command(app);
    add_simulate_command(app);
    add_diff_command(app);
    add_sweep_command(app);
    add_yardstick_command(app);
    add_fleet_command(app);
    add_report_command(app);
    add_story_command(app);
    add_check_command(app);
    add_curves_command(app);
    add_state_command(app);
    add_metrics_command(app);
    add_daemon_wire_command(app);
    add_completion_command(app);
}

}  // namespace lab
