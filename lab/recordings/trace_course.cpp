#include "lab/recordings/trace_course.h"

#include <cstring>
#include <utility>

#include "lab/io/error.h"
#include "util/arith.h"

namespace lab {

namespace {

using virtual_device::device;
using virtual_device::file;

// All that save() keeps.
struct saved_state {
    csv_position position;
    std::int64_t real_time_s;
    std::int64_t elapsed_s;
    bool has_row;
    bool is_started;
};

// The device ends each text with a line feed. Most cells are as in the row before.
void put_text(file& target, std::string_view text) {
    target.exists = true;
    std::string& bytes = target.bytes;
    if (bytes.size() == text.size() + 1 && bytes.starts_with(text) && bytes.back() == '\n') return;
    bytes.assign(text);
    bytes.push_back('\n');
}

constexpr std::int64_t wall_clock_after(std::int64_t previous_s, std::int64_t passed_s) {
    return arith::add(previous_s, passed_s);
}

}  // namespace

trace_course::trace_course(trace_reader reader) : reader_(std::move(reader)) {
    has_row_ = reader_.next(row_);
}

std::string trace_course::cell_vendor() const {
    return std::string(row_.nodes[place_of_node("cell_vendor_name")]);
}

std::vector<std::string> trace_course::truth_names() const {
    if (!reader_.has_true_soc()) return {};
    return {std::string(TRUE_SOC_COLUMN)};
}

void trace_course::truth(const charge_limits& /*of*/, std::vector<double>& values) const {
    values.clear();
    if (reader_.has_true_soc()) values.push_back(row_.true_soc_pct);
}

std::int64_t trace_course::begin_boot(device& on) {
    if (!has_row_) throw input_error(reader_.file().name() + ": no row after the header");
    nodes_.clear();
    mock_files_.clear();
    for (const device_file& node : DEVICE_NODES) nodes_.push_back(&on.at(node.path));
    for (const device_file& mock : MOCK_FILES) mock_files_.push_back(&on.at(mock.path));
    boot_ = row_.boot;
    take_row(on, true);
    on.elapsed_s = 0;
    is_first_cycle_ = true;
    return boot_;
}

bool trace_course::next_cycle(device& on) {
    if (!std::exchange(is_first_cycle_, false)) {
        has_row_ = reader_.next(row_);
        if (!has_row_ || row_.boot != boot_) return false;
        take_row(on, false);
    }
    on.elapsed_s = row_.elapsed_s;
    return true;
}

// Puts the row in effect, all but its elapsed time.
void trace_course::take_row(device& on, bool is_first_of_boot) {
    if (row_.real_time_s) {
        real_time_s_ = *row_.real_time_s;
    } else if (!is_started_) {
        real_time_s_ = DEFAULT_WALL_CLOCK_S;
    } else {
        const std::int64_t previous_elapsed_s = is_first_of_boot ? 0 : elapsed_s_;
        real_time_s_ = wall_clock_after(real_time_s_, arith::sub(row_.elapsed_s, previous_elapsed_s));
    }
    is_started_ = true;
    elapsed_s_ = row_.elapsed_s;
    on.real_time_s = real_time_s_;

    if (std::exchange(has_faults_, false)) on.clear_faults();
    set_nodes(on);
    set_mock_files(on);
    for (std::size_t i = 0; i < BOOT_LOADER_FILES.size(); ++i) {
        if (row_.has_boot_file[i]) on.at(BOOT_LOADER_FILES[i].path).put(row_.boot_files[i]);
    }
    set_faults(on);
}

void trace_course::fail_file(device& on, file& target, bool file::*operation) {
    on.set_fault(target, operation);
    has_faults_ = true;
}

void trace_course::set_nodes(device& on) {
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        const std::string_view cell = row_.nodes[i];
        if (cell.empty()) {
            nodes_[i]->remove();
        } else if (cell == CELL_EMPTY_FILE) {
            nodes_[i]->put("");
        } else {
            put_text(*nodes_[i], cell);
            if (cell == CELL_READ_ERROR) fail_file(on, *nodes_[i], &file::read_fails);
        }
    }
}

void trace_course::set_mock_files(device& on) {
    for (std::size_t i = 0; i < mock_files_.size(); ++i) {
        const std::string_view cell = row_.mock_files[i];
        if (cell.empty()) continue;
        if (cell == CELL_MISSING_FILE) {
            mock_files_[i]->remove();
        } else if (cell == CELL_EMPTY_FILE) {
            mock_files_[i]->put("");
        } else if (cell == CELL_READ_ERROR) {
            if (!mock_files_[i]->exists) mock_files_[i]->put("");  // it opens, whoever does it
            fail_file(on, *mock_files_[i], &file::read_fails);
        } else {
            put_text(*mock_files_[i], cell);
        }
    }
}

void trace_course::set_faults(device& on) {
    for (const trace_fault& fault : row_.faults) {
        switch (fault.what) {
            case trace_fault::operation::open:
                fail_file(on, on.at(fault.target), &file::open_fails);
                break;
            case trace_fault::operation::read:
                fail_file(on, on.at(fault.target), &file::read_fails);
                break;
            case trace_fault::operation::write:
                fail_file(on, on.at(fault.target), &file::write_fails);
                break;
            case trace_fault::operation::property_set:
                on.fail_property_set(fault.target, true);
                has_faults_ = true;
                break;
        }
    }
}

std::string trace_course::save() const {
    const saved_state state{row_.position, real_time_s_, elapsed_s_, has_row_, is_started_};
    std::string bytes(sizeof state, '\0');
    std::memcpy(bytes.data(), &state, sizeof state);
    return bytes;
}

void trace_course::load(const std::string& bytes) {
    saved_state state{};
    std::memcpy(&state, bytes.data(), sizeof state);
    real_time_s_ = state.real_time_s;
    elapsed_s_ = state.elapsed_s;
    is_started_ = state.is_started;
    has_row_ = state.has_row;
    if (!has_row_) return;
    reader_.seek(state.position);
    reader_.next(row_);
}

double trace_course::progress() const {
    const auto size = reader_.file().size();
    if (!size) return -1;
    return *size == 0 ? 1 : static_cast<double>(row_.position.offset) / static_cast<double>(*size);
}

}  // namespace lab
