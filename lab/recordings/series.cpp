#include "lab/recordings/series.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "lab/io/digits.h"
#include "lab/io/error.h"
#include "lab/io/text.h"

namespace lab {

namespace {

constexpr std::string_view BOOT_COLUMN = "boot";
constexpr std::string_view ELAPSED_COLUMN = "elapsed_s";
constexpr std::size_t NO_FIELD = SIZE_MAX;

// What follows the whole part of a number with so many thousandths, without zeros at the end.
struct decimals {
    std::array<char, 4> text;
    std::uint8_t size;
};
constexpr auto DECIMALS = [] {
    std::array<decimals, 1000> all{};
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto digit = [](std::size_t value) { return static_cast<char>('0' + value % 10); };
        all[i] = {{'.', digit(i / 100), digit(i / 10), digit(i)}, 4};
        while (all[i].size > 0 && all[i].text[all[i].size - 1U] == '0') --all[i].size;
        if (all[i].size == 1) all[i].size = 0;  // nor the point alone
    }
    return all;
}();

// Each writes the text of a number and gives its end.
template <typename T>
char* put_shortest(char* at, T value) {
    return std::to_chars(at, at + SERIES_CELL_SIZE, value).ptr;
}

// Nearly all have 32 bits, which is noticeably faster.
char* put_number(char* at, std::int64_t value) {
    const auto small = static_cast<std::int32_t>(value);
    return small == value ? put_decimal(at, small) : put_shortest(at, value);
}

// To three decimals, as the phone's own columns have them. Written from an integer, which is several times
// faster than to find the shortest text of a double.
char* put_number(char* at, double value) {
    constexpr double LIMIT = 1e12;
    if (!(std::abs(value) < LIMIT)) return put_shortest(at, value);
    const auto thousandths = static_cast<std::int64_t>(value * 1000 + (value < 0 ? -0.5 : 0.5));
    if (thousandths < 0) *at++ = '-';
    const std::int64_t positive = std::abs(thousandths);
    at = put_number(at, positive / 1000);
    const decimals& rest = DECIMALS[static_cast<std::size_t>(positive % 1000)];
    std::memcpy(at, rest.text.data(), rest.text.size());
    return at + rest.size;
}

}  // namespace

series_writer::series_writer(output_file& file, bool with_samples,
                             const std::vector<std::string>& truth_names, std::int64_t every_s)
    : file_(file), with_samples_(with_samples), every_s_(every_s) {
    std::string header(BOOT_COLUMN);
    const auto add = [&header](std::string_view name) { header.append(",").append(name); };
    add(ELAPSED_COLUMN);
    std::for_each(column_names.begin(), column_names.end(), add);
    add(STRESS_COLUMN);
    if (with_samples) std::for_each(SAMPLE_COLUMNS.begin(), SAMPLE_COLUMNS.end(), add);
    std::for_each(truth_names.begin(), truth_names.end(), add);
    file_.write(header + "\n");

    cells_.resize(static_cast<std::size_t>(std::count(header.begin(), header.end(), ',')) + 1);
    cells_.back().text[0] = '\n';
    row_.resize(cells_.size() * SERIES_CELL_SIZE);
}

template <typename T>
void series_writer::put(cell& into, T value) {
    const auto bits = std::bit_cast<std::int64_t>(value);
    if (into.bits == bits && into.has_number) return;
    char* const begin = into.text.data();
    const char separator = begin[into.size - 1];
    char* const end = put_number(begin, value);
    *end = separator;
    into.bits = bits;
    into.has_number = true;
    into.size = static_cast<std::uint8_t>(end + 1 - begin);
}

void series_writer::put_optional(cell& into, std::optional<std::int32_t> value) {
    if (value) return put(into, std::int64_t{*value});
    into.text[0] = into.text[into.size - 1U];
    into.size = 1;
    into.has_number = false;
}

bool series_writer::is_due(const cycle& after) {
    if (every_s_ <= 0) return true;
    if (after.boot == boot_ && after.elapsed_s < next_s_) return false;
    boot_ = after.boot;
    const std::int64_t begin_s = after.elapsed_s - after.elapsed_s % every_s_;
    next_s_ = begin_s > INT64_MAX - every_s_ ? INT64_MAX : begin_s + every_s_;
    return true;
}

void series_writer::on_cycle(const cycle& after) {
    if (!is_due(after)) return;
    cell* next = cells_.data();
    put(*next++, after.boot);
    put(*next++, after.elapsed_s);
    for (const std::int32_t value : after.daemon) put(*next++, std::int64_t{value});
    put(*next++, after.stress_h);
    if (with_samples_) {
        put(*next++, after.real_time_s);
        put_optional(*next++, after.seen.voltage_uv);
        put_optional(*next++, after.seen.current_ua);
        put_optional(*next++, after.seen.temperature_decic);
        put_optional(*next++, after.seen.capacity_pct);
        put(*next++, std::int64_t{after.seen.status});
    }
    for (const double value : after.truth) put(*next++, value);
    write_row();
}

void series_writer::write_row() {
    char* at = row_.data();
    for (const cell& each : cells_) {
        // All of the text, not just the used part: a size known beforehand makes the copy a few instructions.
        std::memcpy(at, each.text.data(), SERIES_CELL_SIZE);
        at += each.size;
    }
    file_.write({row_.data(), static_cast<std::size_t>(at - row_.data())});
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
    stress_ = index_of(STRESS_COLUMN);  // a file of old has none
    has_samples_ = std::all_of(SAMPLE_COLUMNS.begin(), SAMPLE_COLUMNS.end(),
                               [this](std::string_view name) { return index_of(name) != NO_FIELD; });
    if (has_samples_)
        std::transform(SAMPLE_COLUMNS.begin(), SAMPLE_COLUMNS.end(), samples_.begin(), required);
    const auto is_known = [this](std::size_t index) {
        return index == boot_ || index == elapsed_ || index == stress_ ||
               std::count(daemon_.begin(), daemon_.end(), index) > 0 ||
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

double series_reader::real(std::size_t field) const {
    const std::string_view cell = csv_.field(field);
    double value = 0;
    const auto result = std::from_chars(cell.data(), cell.data() + cell.size(), value);
    if (result.ec != std::errc() || result.ptr != cell.data() + cell.size())
        csv_.fail(field, header_[field] + " is not a number: " + for_message(cell));
    return value;
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
    after.stress_h = stress_ == NO_FIELD ? 0 : real(stress_);
    if (has_samples_) {
        after.real_time_s = number(samples_[0]);
        after.seen = {optional_number(samples_[1]), optional_number(samples_[2]),
                      optional_number(samples_[3]), optional_number(samples_[4]), small_number(samples_[5])};
    }
    after.truth.resize(truth_.size());
    for (std::size_t i = 0; i < truth_.size(); ++i) {
        after.truth[i] = real(truth_[i]);
    }
    return true;
}

}  // namespace lab
