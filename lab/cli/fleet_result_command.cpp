// vorn-lab fleet phone, export and sql: what is in the results of a fleet.

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "lab/cli/fleet_commands.h"
#include "lab/fleet/fleet_directory.h"
#include "lab/fleet/results.h"
#include "lab/io/error.h"
#include "lab/io/output_file.h"
#include "lab/io/text.h"

namespace lab {

namespace {

struct fleet_result_options {
    std::string directory;
    std::string out = "-";
    std::string command;
    std::uint64_t number = 0;
    bool as_csv = false;
};

void add_directory(CLI::App& command, fleet_result_options& options) {
    command.add_option("DIR", options.directory, "Directory of fleet run")->required();
}

void add_out(CLI::App& command, fleet_result_options& options) {
    command.add_option("--out", options.out, "File to write; standard output when not given")
        ->type_name("FILE");
}

void write_phone(const fleet_result_options& options) {
    const fleet_directory fleet(options.directory);
    if (options.number >= fleet.count())
        throw input_error(options.directory + ": has phones 0 to " + std::to_string(fleet.count() - 1) +
                          ", no " + std::to_string(options.number));
    output_file file(options.out);
    file.write(plan_phone(fleet.phones(), options.number).scenario_text);
    file.finish();
    file.commit();
}

void write_rows(query& rows, output_file& file) {
    std::string line;
    const auto end_line = [&] {
        file.write(line + '\n');
        line.clear();
    };
    for (int i = 0; i < rows.count(); ++i) {
        if (i > 0) line += ',';
        append_foreign_csv_cell(line, rows.name(i));
    }
    end_line();
    while (rows.next()) {
        for (int i = 0; i < rows.count(); ++i) {
            if (i > 0) line += ',';
            if (!rows.is_nothing(i)) append_foreign_csv_cell(line, rows.text(i));
        }
        end_line();
    }
}

void write_query(const fleet_result_options& options, const std::string& command) {
    results joined = joined_results(options.directory);
    output_file file(options.out);
    query rows(joined.file(), command);
    write_rows(rows, file);
    file.finish();
    file.commit();
}

// As docs/fleet.md has them.
std::string columns_text() {
    std::string text = "| column | meaning |\n|---|---|\n";
    for (const phone_figure& each : phone_figures)
        text += "| `" + std::string(each.name) + "` | " + std::string(each.meaning) + " |\n";
    return text;
}

}  // namespace

void add_fleet_result_commands(CLI::App& fleet) {
    const auto options = std::make_shared<fleet_result_options>();
    CLI::App& phone = *fleet.add_subcommand("phone", "Write one phone's scenario, which runs by itself");
    add_directory(phone, *options);
    phone.add_option("N", options->number, "Its number, from 0 on")->required();
    add_out(phone, *options);
    phone.footer(
        "For example\n  vorn-lab fleet phone DIR 4711 > phone.toml\n"
        "  vorn-lab simulate phone.toml --report phone.html");
    phone.callback([options] { write_phone(*options); });

    CLI::App& exported = *fleet.add_subcommand("export", "Write a row for each phone");
    add_directory(exported, *options);
    exported.add_flag("--csv", options->as_csv, "As CSV, the only form there is");
    add_out(exported, *options);
    exported.callback([options] { write_query(*options, "SELECT * FROM phone ORDER BY number"); });

    CLI::App& sql = *fleet.add_subcommand("sql", "Ask the results a question in SQL");
    add_directory(sql, *options);
    sql.add_option("QUERY", options->command, "One SELECT, over the tables of docs/fleet.md")->required();
    add_out(sql, *options);
    sql.callback([options] { write_query(*options, options->command); });

    fleet.add_subcommand("columns", "List the figures of a phone's row")->callback([] {
        std::cout << columns_text();
    });
}

}  // namespace lab
