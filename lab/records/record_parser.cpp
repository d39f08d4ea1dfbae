#include "lab/records/record_parser.h"

#include <charconv>
#include <cmath>

#include "util/metrics.h"

namespace lab {

namespace {

// The digits alone decide: no leading zeros, plus sign or spaces, and within the range of T.
template <typename T>
bool is_canonical_integer(std::string_view text) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return false;
    const std::string_view digits = text.starts_with('-') ? text.substr(1) : text;
    return digits == "0" ? text == "0" : digits[0] != '0';
}

bool is_real(std::string_view text) {
    double value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    if (error != std::errc{} || end != text.data() + text.size()) return false;
    const std::string_view magnitude = text.starts_with('-') ? text.substr(1) : text;
    // As JSON has it: a digit on both sides of the point, and no zero before another digit.
    const bool has_leading_zero = magnitude.size() > 1 && magnitude[0] == '0' && magnitude[1] != '.';
    return !std::isfinite(value) || (magnitude[0] != '.' && !magnitude.ends_with('.') && !has_leading_zero);
}

bool is_value(value_type type, std::string_view text) {
    switch (type) {
        case value_type::int32:
            return is_canonical_integer<std::int32_t>(text);
        case value_type::uint32:
            return is_canonical_integer<std::uint32_t>(text);
        case value_type::int64:
            return is_canonical_integer<std::int64_t>(text);
        case value_type::uint64:
            return is_canonical_integer<std::uint64_t>(text);
        case value_type::real:
            return is_real(text);
        case value_type::text:
            return true;
    }
    return false;
}

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

// Walks through a record and notes what it finds wrong.
class reader {
  public:
    reader(std::string_view text, parsed_record& out) : all_(text), rest_(text), out_(out) {}

    bool is_stopped() const { return stopped_; }
    std::string_view rest() const { return rest_; }

    // The next characters must be `expected`, which is `what` (of `name`, when there is one).
    void expect(std::string_view expected, verdict otherwise, std::string_view what,
                std::string_view name = {}) {
        if (stopped_) return;
        if (rest_.starts_with(expected)) {
            rest_.remove_prefix(expected.size());
        } else if (expected.starts_with(rest_)) {
            stop_where_cut();
        } else {
            const std::string of_name = name.empty() ? "" : " of " + std::string(name);
            stop(otherwise, "expected " + std::string(what) + of_name + ", " + quoted(expected) +
                                ", but it reads " + quoted(rest_.substr(0, SHOWN_CHARACTERS)));
        }
    }

    // What stands before the next `delimiter`, and over both of them.
    std::string_view take_up_to(char delimiter) {
        if (stopped_) return {};
        const std::size_t length = rest_.find(delimiter);
        if (length == std::string_view::npos) {
            stop_where_cut();
            return {};
        }
        const std::string_view found = rest_.substr(0, length);
        rest_.remove_prefix(length + 1);
        return found;
    }

    // Notes a fault. The first one gives the verdict, further ones add to the detail.
    void complain(verdict result, std::string_view detail) {
        if (out_.result == verdict::good) out_.result = result;
        if (!out_.detail.empty()) out_.detail += "; ";
        out_.detail += detail;
    }

    // Notes a fault after which nothing is known of what follows.
    void stop(verdict result, std::string_view detail) {
        complain(result, detail);
        stopped_ = true;
    }

  private:
    static constexpr std::size_t SHOWN_CHARACTERS = 24;

    void stop_where_cut() { stop(verdict::cut, "ends after " + std::to_string(all_.size()) + " characters"); }

    std::string_view all_;
    std::string_view rest_;
    parsed_record& out_;
    bool stopped_ = false;
};

void read_field(reader& in, const field_schema& field, std::string_view& value) {
    in.expect(field.name, verdict::bad_field, "the field");
    in.expect("=", verdict::bad_field, "the value", field.name);
    const std::string_view found = in.take_up_to(';');
    in.expect(type_code(field.type), verdict::bad_field, "the type", field.name);
    in.expect(",", verdict::bad_field, "the end", field.name);
    if (in.is_stopped()) return;
    if (is_value(field.type, found)) {
        value = found;
    } else {
        in.complain(verdict::bad_field, std::string(field.name) + " is not of type " +
                                            std::string(type_name(field.type)) + ": " + quoted(found));
    }
}

void read_version(reader& in, parsed_record& out) {
    in.expect("ver=", verdict::bad_field, "the field");
    out.version = in.take_up_to(';');
    in.expect("SY", verdict::bad_field, "the type", "ver");
    if (!in.is_stopped() && out.version != out.schema->version)
        in.complain(verdict::wrong_version,
                    "version is " + quoted(out.version) + ", expected " + quoted(out.schema->version));
}

}  // namespace

std::string_view words(verdict result) {
    constexpr std::string_view all[] = {"good",      "unknown schema", "wrong version",
                                        "bad field", "bad envelope",   "cut"};
    return all[static_cast<std::size_t>(result)];
}

parsed_record parse_record(std::string_view text) {
    parsed_record out;
    reader in(text, out);
    in.expect(METRICS_GROUP, verdict::bad_envelope, "the group");
    in.expect(":", verdict::bad_envelope, "the end of the group");
    out.schema_id = in.take_up_to(':');
    if (in.is_stopped()) return out;
    out.schema = find_schema(out.schema_id);
    if (out.schema == nullptr) {
        in.stop(verdict::unknown_schema, "no record has the schema " + quoted(out.schema_id));
        return out;
    }
    in.expect(METRICS_FIXED_FIELD, verdict::bad_envelope, "the fixed field");
    in.expect(":", verdict::bad_envelope, "the end of the fixed field");
    in.expect(METRICS_DEVICE_PREFIX, verdict::bad_envelope, "the empty device fields");
    std::size_t index = 0;
    for (const field_schema& field : out.schema->fields()) read_field(in, field, out.values[index++]);
    read_version(in, out);
    in.expect(":", verdict::bad_envelope, "the end of the payload");
    in.expect(METRICS_REGION, verdict::bad_envelope, "the region");
    if (!in.is_stopped()) out.rest = in.rest();
    return out;
}

}  // namespace lab
