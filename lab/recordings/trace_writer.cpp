#include "lab/recordings/trace_writer.h"

#include <algorithm>

#include "lab/io/text.h"

namespace lab {

namespace {

using virtual_device::device;
using virtual_device::file;

const device_file& kept_file(std::size_t index) {
    return index < MOCK_FILES.size() ? MOCK_FILES[index] : BOOT_LOADER_FILES[index - MOCK_FILES.size()];
}

bool is_node(const file& target) {
    return std::any_of(DEVICE_NODES.begin(), DEVICE_NODES.end(),
                       [&](const device_file& node) { return node.path == target.path; });
}

std::string_view without_line_end(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    return text;
}

}  // namespace

std::int64_t trace_writer::begin_boot(device& on) {
    if (!has_header_) remember_files(on);
    boot_ = course_.begin_boot(on);
    write_header();
    row_.clear();
    append_row(on);
    is_first_ = true;
    return boot_;
}

// A file that the course has touched shows as a change since the daemon's last cycle.
bool trace_writer::next_cycle(device& on) {
    remember_files(on);
    if (!course_.next_cycle(on)) {
        file_.finish();
        return false;
    }
    if (!is_first_) {
        row_.clear();
        append_row(on);
    }
    is_first_ = false;
    std::string& out = file_.buffer();
    append_integer(out, on.elapsed_s);
    out.append(row_);
    file_.written();
    return true;
}

void trace_writer::write_header() {
    if (has_header_) return;
    has_header_ = true;
    std::string header = "elapsed_s,realtime_s,boot";
    for (const device_file& each : DEVICE_NODES) header.append(",").append(each.name);
    for (std::size_t i = 0; i < before_.size(); ++i) header.append(",").append(kept_file(i).name);
    file_.write(header + ",faults\n");
}

void trace_writer::remember_files(device& on) {
    for (std::size_t i = 0; i < before_.size(); ++i) {
        const file& now = on.at(kept_file(i).path);
        before_[i].exists = now.exists;
        before_[i].bytes.assign(now.bytes);
    }
}

// Everything of a row but its elapsed time.
void trace_writer::append_row(device& on) {
    row_ += ',';
    append_integer(row_, on.real_time_s);
    row_ += ',';
    append_integer(row_, boot_);
    for (const device_file& each : DEVICE_NODES) append_node(on.at(each.path));
    for (std::size_t i = 0; i < before_.size(); ++i) append_change(on.at(kept_file(i).path), i);
    append_faults(on);
    row_ += '\n';
}

void trace_writer::append_node(const file& node) {
    row_ += ',';
    if (node.read_fails) {
        row_ += CELL_READ_ERROR;
    } else if (node.exists && node.bytes.empty()) {
        row_ += CELL_EMPTY_FILE;
    } else if (node.exists) {
        append_csv_cell(row_, without_line_end(node.bytes));
    }
}

void trace_writer::append_change(const file& now, std::size_t index) {
    row_ += ',';
    const file_content& before = before_[index];
    if (now.exists == before.exists && now.bytes == before.bytes) return;
    const bool is_mock = index < MOCK_FILES.size();
    if (!is_mock) {
        append_hex(row_, now.bytes);
    } else if (!now.exists) {
        row_ += CELL_MISSING_FILE;
    } else if (now.bytes.empty()) {
        row_ += CELL_EMPTY_FILE;
    } else {
        append_csv_cell(row_, without_line_end(now.bytes));
    }
}

void trace_writer::append_faults(const device& on) {
    std::string faults;
    std::vector<const file*> told;
    for (const file* each : on.faulty_files()) {
        if (std::find(told.begin(), told.end(), each) != told.end()) continue;
        told.push_back(each);
        if (each->open_fails) faults += "open:" + each->path + ";";
        if (each->read_fails && !is_node(*each)) faults += "read:" + each->path + ";";
        if (each->write_fails) faults += "write:" + each->path + ";";
    }
    for (const std::string& name : on.failing_properties()) faults += "property_set:" + name + ";";
    if (!faults.empty()) faults.pop_back();
    row_ += ',';
    append_csv_cell(row_, faults);
}

// What the course left for the next boot counts as changed by it.
std::string trace_writer::save() const {
    std::string bytes(1, has_header_ ? '1' : '0');
    for (const file_content& each : before_) {
        bytes += each.exists ? '1' : '0';
        append_hex(bytes, each.bytes);
        bytes += ';';
    }
    return bytes + course_.save();
}

void trace_writer::load(const std::string& state) {
    std::size_t at = 0;
    has_header_ = state[at++] == '1';
    for (file_content& each : before_) {
        each.exists = state[at++] == '1';
        const std::size_t end = state.find(';', at);
        each.bytes = bytes_from_hex(std::string_view(state).substr(at, end - at)).value_or("");
        at = end + 1;
    }
    course_.load(state.substr(at));
}

}  // namespace lab
