// vorn-lab metrics: the metrics records of a log.

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/reference.h"
#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/io/nearest.h"
#include "lab/io/patient_reader.h"
#include "lab/io/text.h"
#include "lab/records/log_scanner.h"
#include "lab/records/record_writer.h"

namespace lab {

namespace {

struct metrics_options {
    std::vector<std::string> logs;
    std::vector<std::string> records;
    bool as_csv = false;
    bool lists_records = false;
};

std::string probably(const std::string& name) {
    std::vector<std::string_view> names;
    for (const record_schema& each : schemas()) names.push_back(each.name);
    const auto word = nearest(name, names);
    return word ? "; did you mean " + std::string(*word) + "?" : "";
}

std::vector<const record_schema*> wanted_records(const std::vector<std::string>& names) {
    std::vector<const record_schema*> wanted;
    for (const std::string& name : names) {
        const auto found = find_schemas_by_name(name);
        if (found.empty())
            throw input_error("--record: no record is called " + for_message(name) + probably(name) +
                              " (see --list)");
        wanted.insert(wanted.end(), found.begin(), found.end());
    }
    return wanted;
}

// `told` is called whenever all that came has been scanned: in a log that goes on, for each new line.
struct scanning {
    log_scanner& scanner;
    patient_reader reader;
    std::function<void()> told;
};

void scan(int descriptor, const std::string& name, const scanning& by) {
    log_scanner& scanner = by.scanner;
    for (;;) {
        const ssize_t count = by.reader.read(descriptor, scanner.space());
        if (count == 0) break;
        if (count < 0) {
            const std::string why = std::strerror(errno);
            scanner.finish();  // what was read is told all the same
            throw input_error(name + ": " + why);
        }
        scanner.filled(static_cast<std::size_t>(count));
        by.told();
    }
    scanner.finish();
}

void scan_log(const std::string& log, const scanning& by) {
    const int descriptor = open_to_read(log);
    try {
        scan(descriptor, input_name(log), by);
    } catch (...) {
        ::close(descriptor);
        throw;
    }
    ::close(descriptor);
}

// Reads all that can be read before it throws for what could not.
void print_metrics(const metrics_options& options) {
    const auto format = options.as_csv ? output_format::csv : output_format::json;
    record_writer writer(
        format,
        [](std::string_view text) {
            std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
        },
        wanted_records(options.records));
    log_scanner scanner([&](const found_record& found) { writer.write(found); });
    const std::vector<std::string> logs = options.logs.empty() ? std::vector<std::string>{"-"} : options.logs;
    std::string failure;
    const scanning by{scanner, {}, [&] {
                          writer.finish();
                          std::cout.flush();
                      }};
    for (const std::string& log : logs) {
        writer.begin_log(logs.size() > 1 ? log : "");
        try {
            scan_log(log, by);
        } catch (const input_error& error) {
            failure += (failure.empty() ? "" : "; ") + std::string(error.what());
        }
    }
    writer.finish();
    std::cout.flush();
    if (!failure.empty()) throw input_error(failure);
    std::cerr << "vorn-lab: " << counted(writer.records(), "record") << ", "
              << counted(writer.problems(), "problem") << '\n';
    if (writer.problems() > 0) throw answer_is_no("");  // the line above has said so
}

}  // namespace

void add_metrics_command(CLI::App& app) {
    const auto options = std::make_shared<metrics_options>();
    CLI::App& command = *app.add_subcommand("metrics", "Read and check the metrics records of a log");
    command
        .add_option("FILE", options->logs,
                    "Logs in any form of logcat, or events of this tool; standard input when there is none")
        ->type_name("");
    command.add_flag("--csv", options->as_csv, "Print CSV rows instead of JSON Lines");
    command
        .add_option("--record", options->records,
                    "Keep to this record (schema, name or its beginning); may be repeated")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command.add_flag("--list", options->lists_records, "Print all records with their fields, and end");
    command.footer("For example\n  adb logcat -b all -d | vorn-lab metrics --csv --record \"stress start\"");
    command.callback([options] {
        if (options->lists_records) {
            std::cout << metrics_reference();
        } else {
            print_metrics(*options);
        }
    });
}

}  // namespace lab
