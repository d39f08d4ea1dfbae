#include "lab/cli/evidence_progress.h"

#include <algorithm>
#include <iostream>

#include "lab/cli/progress_bar.h"
#include "lab/io/error.h"
#include "lab/io/text.h"

namespace lab {

namespace {

dossier read_input(const std::string& input) {
    dossier device;
    progress_bar bar;
    read_evidence(input, device, [&](std::uint64_t read, std::uint64_t of) {
        if (of > 0) bar.on_progress(static_cast<double>(read) / static_cast<double>(of));
    });
    bar.wipe();
    if (device.is_empty())
        throw input_error((input == "-" ? "standard input" : input) +
                          ": nothing of the daemon in it: neither its log lines nor its files, properties or "
                          "samples" +
                          (device.foreign_sources == 1 ? "; it looks like " + device.looks_like
                           : device.empty_sources == 1 ? "; it is empty"
                                                       : ""));
    return device;
}

// Two inputs that each hold a device of their own are two devices; otherwise all are parts of one.
bool are_devices(const std::vector<dossier>& inputs) {
    const auto count = [&](auto has) { return std::ranges::count_if(inputs, has); };
    return count([](const dossier& each) { return !each.log.report_times().empty(); }) > 1 ||
           count([](const dossier& each) { return !each.image.files.empty(); }) > 1 ||
           count([](const dossier& each) { return each.trace.has_value(); }) > 1 ||
           count([](const dossier& each) { return each.events.has_value(); }) > 1;
}

// Where the inputs are parts of one device: that alone.
void join_parts(std::vector<dossier>& inputs) {
    if (inputs.size() < 2 || are_devices(inputs)) return;
    for (std::size_t i = 1; i < inputs.size(); ++i) absorb_evidence(inputs.front(), std::move(inputs[i]));
    inputs.resize(1);
}

}  // namespace

given_devices read_devices(const std::vector<std::string>& inputs, bool each_by_itself) {
    given_devices given;
    for (const std::string& input : inputs) {
        try {
            given.devices.push_back(read_input(input));
        } catch (const input_error& refused) {
            if (inputs.size() == 1) throw;
            std::cerr << "vorn-lab: " << on_one_line(refused.what()) << '\n';
        }
    }
    const std::size_t read = given.devices.size();
    if (read == 0) throw input_error("nothing was read of " + counted(inputs.size(), "input"));
    if (read < inputs.size())
        given.refused = std::to_string(inputs.size() - read) + " of " + counted(inputs.size(), "input");
    if (!each_by_itself) join_parts(given.devices);
    return given;
}

dossier read_device(const std::vector<std::string>& inputs) {
    std::vector<dossier> devices;
    for (const std::string& input : inputs) devices.push_back(read_input(input));
    join_parts(devices);
    if (devices.size() > 1)
        throw input_error(on_one_line(devices[0].input) + " and " + on_one_line(devices[1].input) +
                          ": two devices, or one at two times; give one (story and check take several)");
    return std::move(devices.front());
}

void require_all_read(const given_devices& given) {
    if (!given.refused.empty()) throw input_error(given.refused + ": not read");
}

}  // namespace lab
