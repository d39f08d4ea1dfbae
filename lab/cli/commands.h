// The commands of vorn-lab. Each adds itself to the command line with its flags and a callback that runs it.
//
// A callback throws what ends it otherwise than with exit status 0: daemon_crashed, or one of lab/io/error.h; what() goes
// to standard error.
#pragma once

namespace CLI {
class App;
}

namespace lab {

// All commands, in the order of --help, with help that fits a screen.
void add_commands(CLI::App& app);

void add_replay_command(CLI::App& app);
void add_curves_command(CLI::App& app);
void add_simulate_command(CLI::App& app);
void add_diff_command(CLI::App& app);
void add_sweep_command(CLI::App& app);
void add_yardstick_command(CLI::App& app);
void add_fleet_command(CLI::App& app);
void add_report_command(CLI::App& app);
void add_story_command(CLI::App& app);
void add_check_command(CLI::App& app);
void add_state_command(CLI::App& app);
void add_metrics_command(CLI::App& app);
void add_completion_command(CLI::App& app);  // last, as it tells of all the others

}  // namespace lab
