#include "lab/series.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "lab/error.h"
#include "lab/text.h"

namespace lab {

namespace {

constexpr std::string_view BOOT_COLUMN = "boot";
constexpr std::string_view ELAPSED_COLUMN = "elapsed_s";
constexpr std::size_t NO_FIELD = SIZE_MAX;
constexpr std::size_t ROOM_PER_NUMBER = 24;  // a 64-bit number and a comma, or the shortest double

// Appends numbers to a row that has room for them.
class row_writer {
  public:
    explicit row_writer(std::vector<char>& row) : begin_(row.data()), at_(row.data()) {}

    template <typename T>
    void number(T value) {
        at_ = std::to_chars(at_, at_ + ROOM_PER_NUMBER, value).ptr;
        *at_++ = ',';
    }
    void number(std::optional<std::int32_t> value) {
        if (value) return number(*value);
        *at_++ = ',';
    }
    std::string_view ended() {
        at_[-1] = '\n';
        return {begin_, static_cast<std::size_t>(at_ - begin_)};
    }

  private:
    char* begin_;
    char* at_;
};

}  // namespace

series_writer::series_writer(output_file& file, bool with_samples,
                             const std::vector<std::string>& truth_names)
    : file_(file),
      with_samples_(with_samples),
      row_((2 + COLUMN_COUNT + SAMPLE_COLUMNS.size() + truth_names.size()) * ROOM_PER_NUMBER) {
    std::string header(BOOT_COLUMN);
    const auto add = [&header](std::string_view name) { header.append(",").append(name); };
    add(ELAPSED_COLUMN);
    std::for_each(column_names.begin(), column_names.end(), add);
    if (with_samples) std::for_each(SAMPLE_COLUMNS.begin(), SAMPLE_COLUMNS.end(), add);
    std::for_each(truth_names.begin(), truth_names.end(), add);
    file_.write(header + "\n");
}

void series_writer::on_cycle(const cycle& after) {
    row_writer row(row_);
    row.number(after.boot);
    row.number(after.elapsed_s);
    for (const std::int32_t value : after.daemon) row.number(value);
    if (with_samples_) {
        row.number(after.real_time_s);
        row.number(after.seen.voltage_uv);
        row.number(after.seen.current_ua);
        row.number(after.seen.temperature_decic);
        row.number(after.seen.capacity_pct);
        row.number(after.seen.status);
    }
    for (const double value : after.truth) row.number(value);
    file_.write(row.ended());
}

series_reader::series_reader(input_file file) : csv_(std::move(file)) {
    if (!csv_.next()) csv_.fail(0, "no header row");
    for (std::size_t i = 0; i < csv_.field_count(); ++i) header_.emplace_back(csv_.field(i));
    const auto required = [this](std::string_view name) {
        const std::size_t index = index_of(name);
        if (index == NO_FIELD) csv_.fail(0, "no column " + std::string(name) + " in the header row");
        return index;
    };
    boot_ = required(BOOT_COLUMN);
    elapsed_ = required(ELAPSED_COLUMN);
    std::transform(column_names.begin(), column_names.end(), daemon_.begin(), required);
    has_samples_ = std::all_of(SAMPLE_COLUMNS.begin(), SAMPLE_COLUMNS.end(),
                               [this](std::string_view name) { return index_of(name) != NO_FIELD; });
    if (has_samples_)
        std::transform(SAMPLE_COLUMNS.begin(), SAMPLE_COLUMNS.end(), samples_.begin(), required);
    const auto is_known = [this](std::size_t index) {
        return index == boot_ || index == elapsed_ || std::count(daemon_.begin(), daemon_.end(), index) > 0 ||
               (has_samples_ && std::count(samples_.begin(), samples_.end(), index) > 0);
    };
    for (std::size_t i = 0; i < header_.size(); ++i) {
        if (is_known(i)) continue;
        truth_.push_back(i);
        truth_names_.push_back(header_[i]);
    }
}

std::size_t series_reader::index_of(std::string_view name) const {
    const auto found = std::find(header_.begin(), header_.end(), name);
    return found == header_.end() ? NO_FIELD : static_cast<std::size_t>(found - header_.begin());
}

std::int64_t series_reader::number(std::size_t field) const {
    const std::optional<std::int64_t> value = parse_integer(csv_.field(field));
    if (!value)
        csv_.fail(field, header_[field] + " is not a whole number: " + for_message(csv_.field(field)));
    return *value;
}

std::int32_t series_reader::small_number(std::size_t field) const {
    const std::int64_t value = number(field);
    if (value != static_cast<std::int32_t>(value)) csv_.fail(field, header_[field] + " is beyond 32 bits");
    return static_cast<std::int32_t>(value);
}

std::optional<std::int32_t> series_reader::optional_number(std::size_t field) const {
    if (csv_.field(field).empty()) return std::nullopt;
    return small_number(field);
}

bool series_reader::next(cycle& after) {
    if (!csv_.next()) return false;
    if (csv_.field_count() != header_.size()) {
        csv_.fail(header_.size(), "the row has " + std::to_string(csv_.field_count()) +
                                      " fields, the header " + std::to_string(header_.size()));
    }
    after.boot = number(boot_);
    after.elapsed_s = number(elapsed_);
    for (std::size_t i = 0; i < COLUMN_COUNT; ++i) after.daemon[i] = small_number(daemon_[i]);
    if (has_samples_) {
        after.real_time_s = number(samples_[0]);
        after.seen = {optional_number(samples_[1]), optional_number(samples_[2]),
                      optional_number(samples_[3]), optional_number(samples_[4]), small_number(samples_[5])};
    }
    after.truth.resize(truth_.size());
    for (std::size_t i = 0; i < truth_.size(); ++i) {
        const std::string_view cell = csv_.field(truth_[i]);
        const auto result = std::from_chars(cell.data(), cell.data() + cell.size(), after.truth[i]);
        if (result.ec != std::errc() || result.ptr != cell.data() + cell.size())
            csv_.fail(truth_[i], header_[truth_[i]] + " is not a number: " + for_message(cell));
    }
    return true;
}

}  // namespace lab
