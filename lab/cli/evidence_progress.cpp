#include "lab/cli/evidence_progress.h"

#include "lab/cli/progress_bar.h"
#include "lab/io/error.h"

namespace lab {

void read_shown(const std::string& input, dossier& into) {
    progress_bar bar;
    read_evidence(input, into, [&](std::uint64_t read, std::uint64_t of) {
        if (of > 0) bar.on_progress(static_cast<double>(read) / static_cast<double>(of));
    });
    bar.wipe();
    if (into.is_empty())
        throw input_error((input == "-" ? "standard input" : input) +
                          ": nothing of the daemon in it: neither its log lines nor its files, properties or "
                          "samples" +
                          (into.foreign_sources == 1 ? "; it looks like " + into.looks_like : ""));
}

dossier read_device(const std::vector<std::string>& inputs) {
    dossier device;
    for (const std::string& each : inputs) {
        dossier more;
        read_shown(each, more);
        if (device.is_empty()) {
            device = std::move(more);
        } else {
            absorb_evidence(device, std::move(more));
        }
    }
    return device;
}

}  // namespace lab
