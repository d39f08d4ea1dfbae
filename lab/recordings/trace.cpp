#include "lab/recordings/trace.h"

#include <charconv>
#include <limits>
#include <utility>

#include "lab/io/error.h"
#include "lab/io/text.h"

namespace lab {

namespace {

constexpr std::string_view ELAPSED_COLUMN = "elapsed_s";
constexpr std::string_view REAL_TIME_COLUMN = "realtime_s";
constexpr std::string_view BOOT_COLUMN = "boot";
constexpr std::string_view FAULTS_COLUMN = "faults";

constexpr std::pair<std::string_view, trace_fault::operation> FAULT_OPERATIONS[] = {
    {"open", trace_fault::operation::open},
    {"read", trace_fault::operation::read},
    {"write", trace_fault::operation::write},
    {"property_set", trace_fault::operation::property_set},
};

const trace_fault::operation* fault_operation(std::string_view name) {
    for (const auto& [known, operation] : FAULT_OPERATIONS) {
        if (known == name) return &operation;
    }
    return nullptr;
}

// What is wrong with one item of the faults column; empty when nothing is, and then `fault` is what it says.
std::string parse_fault(std::string_view item, trace_fault& fault) {
    const std::size_t colon = item.find(':');
    const trace_fault::operation* const operation = fault_operation(item.substr(0, colon));
    if (operation == nullptr || colon == item.npos)
        return "not a fault (open, read or write and a path, property_set and a name): " + for_message(item);
    fault = {*operation, item.substr(colon + 1)};
    if (fault.target.empty()) return "a fault without a target: " + for_message(item);
    if (fault.what != trace_fault::operation::property_set && !fault.target.starts_with('/'))
        return "not an absolute path: " + for_message(fault.target);
    return {};
}

}  // namespace

trace_reader::trace_reader(input_file file, constant_columns constants,
                           const std::function<void(std::string)>& warn)
    : csv_(std::move(file)), constants_(std::move(constants)) {
    read_header(warn);
    use_constants();
    if (!elapsed_.is_known()) csv_.fail(0, "no column elapsed_s in the header row");
}

trace_reader::source* trace_reader::find(std::string_view column) {
    if (column == ELAPSED_COLUMN) return &elapsed_;
    if (column == REAL_TIME_COLUMN) return &real_time_;
    if (column == BOOT_COLUMN) return &boot_;
    if (column == FAULTS_COLUMN) return &faults_;
    if (column == TRUE_SOC_COLUMN) return &true_soc_;
    for (std::size_t i = 0; i < DEVICE_NODES.size(); ++i) {
        if (column == DEVICE_NODES[i].name) return &nodes_[i];
    }
    for (std::size_t i = 0; i < MOCK_FILES.size(); ++i) {
        if (column == MOCK_FILES[i].name) return &mock_files_[i];
    }
    for (std::size_t i = 0; i < BOOT_LOADER_FILES.size(); ++i) {
        if (column == BOOT_LOADER_FILES[i].name) return &boot_files_[i];
    }
    return nullptr;
}

void trace_reader::read_header(const std::function<void(std::string)>& warn) {
    if (!csv_.next()) csv_.fail(0, "no header row");
    field_count_ = csv_.field_count();
    for (std::size_t i = 0; i < field_count_; ++i) {
        source* const known = find(csv_.field(i));
        if (known == nullptr) {
            warn(csv_.file().name() + ": warning: unknown column is ignored: " + for_message(csv_.field(i)));
        } else if (known->is_known()) {
            csv_.fail(i, "column given twice: " + for_message(csv_.field(i)));
        } else {
            known->field = i;
        }
    }
}

void trace_reader::use_constants() {
    for (const auto& [column, value] : constants_) {
        source* const known = find(column);
        if (known == nullptr) throw input_error("--set: unknown column: " + for_message(column));
        if (known->is_known()) throw input_error("--set: the trace has its own column " + column);
        known->constant = &value;
    }
}

std::string_view trace_reader::text(const source& from) const {
    if (from.field != source::NONE) return csv_.field(from.field);
    return from.constant != nullptr ? std::string_view(*from.constant) : std::string_view();
}

void trace_reader::fail(const source& from, const std::string& what) const {
    if (from.constant != nullptr) throw input_error("--set: " + what);
    csv_.fail(from.field, what);
}

// Nothing when the column is absent or the cell empty.
std::optional<std::int64_t> trace_reader::number(const source& from, std::string_view column) const {
    const std::string_view cell = text(from);
    if (cell.empty()) return std::nullopt;
    const std::optional<std::int64_t> value = parse_integer(cell);
    if (!value) fail(from, std::string(column) + " is not a whole number: " + for_message(cell));
    return value;
}

double trace_reader::true_soc_pct() const {
    const std::string_view cell = text(true_soc_);
    double value = std::numeric_limits<double>::quiet_NaN();
    if (cell.empty()) return value;
    const auto parsed = std::from_chars(cell.data(), cell.data() + cell.size(), value);
    if (parsed.ec != std::errc() || parsed.ptr != cell.data() + cell.size())
        fail(true_soc_, std::string(TRUE_SOC_COLUMN) + " is not a number: " + for_message(cell));
    return value;
}

void trace_reader::read_faults(std::vector<trace_fault>& faults) const {
    faults.clear();
    std::string_view rest = text(faults_);
    while (!rest.empty()) {
        const std::string_view item = rest.substr(0, rest.find(';'));
        rest.remove_prefix(std::min(item.size() + 1, rest.size()));
        if (item.empty()) continue;  // as a trailing separator leaves it
        if (const std::string wrong = parse_fault(item, faults.emplace_back()); !wrong.empty())
            fail(faults_, wrong);
    }
}

void trace_reader::read_boot_files(trace_row& row) const {
    for (std::size_t i = 0; i < boot_files_.size(); ++i) {
        const std::string_view cell = text(boot_files_[i]);
        row.has_boot_file[i] = !cell.empty();
        if (cell.empty()) continue;
        auto bytes = bytes_from_hex(cell);
        if (!bytes) fail(boot_files_[i], "not hexadecimal digits, two a byte: " + for_message(cell));
        row.boot_files[i] = std::move(*bytes);
    }
}

bool trace_reader::next(trace_row& row) {
    if (!csv_.next()) {
        row.position = csv_.position();
        return false;
    }
    if (csv_.field_count() != field_count_) {
        csv_.fail(field_count_, "the row has " + std::to_string(csv_.field_count()) + " fields, the header " +
                                    std::to_string(field_count_));
    }
    row.position = csv_.position();
    const std::optional<std::int64_t> elapsed_s = number(elapsed_, ELAPSED_COLUMN);
    if (!elapsed_s) fail(elapsed_, "elapsed_s is empty");
    row.elapsed_s = *elapsed_s;
    row.real_time_s = number(real_time_, REAL_TIME_COLUMN);
    row.boot = number(boot_, BOOT_COLUMN).value_or(1);
    for (std::size_t i = 0; i < nodes_.size(); ++i) row.nodes[i] = text(nodes_[i]);
    for (std::size_t i = 0; i < mock_files_.size(); ++i) row.mock_files[i] = text(mock_files_[i]);
    read_boot_files(row);
    read_faults(row.faults);
    row.true_soc_pct = true_soc_pct();
    return true;
}

}  // namespace lab
