#include "lab/recordings/events.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>

#include "lab/io/error.h"
#include "lab/io/text.h"

namespace lab {

namespace {

using nlohmann::json;

constexpr std::size_t READ_SIZE = 65536;

void append_escaped(std::string& out, char c) {
    switch (c) {
        case '"':
            out += "\\\"";
            return;
        case '\\':
            out += "\\\\";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            out += "\\u00";
            append_hex(out, {&c, 1});
    }
}

bool needs_escape(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '"' || c == '\\';
}

// Pieces of an object. Every key is a constant that needs no escape.
void append_number(std::string& out, std::string_view key, std::int64_t value) {
    out.append(key);
    append_integer(out, value);
}

void append_text(std::string& out, std::string_view key, std::string_view text) {
    out.append(key);
    out.push_back('"');
    std::size_t done = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!needs_escape(text[i])) continue;
        append_utf8(out, text.substr(done, i - done));
        append_escaped(out, text[i]);
        done = i + 1;
    }
    append_utf8(out, text.substr(done));
    out.push_back('"');
}

// Reads the members of one object; throws what is wrong, as text.
class members {
  public:
    explicit members(const json& object) : object_(object) {}

    std::int64_t number(const char* key) const {
        const json& value = at(key);
        if (!value.is_number_integer()) throw std::string(key) + " is not a whole number";
        if (value.is_number_unsigned() && !std::in_range<std::int64_t>(value.get<std::uint64_t>()))
            throw key + (" is out of range: " + value.dump());
        return value.get<std::int64_t>();
    }
    std::int32_t small_number(const char* key) const {
        const std::int64_t value = number(key);
        if (!std::in_range<std::int32_t>(value)) throw key + (" is out of range: " + std::to_string(value));
        return static_cast<std::int32_t>(value);
    }
    const std::string& text(const char* key) const {
        const json& value = at(key);
        if (!value.is_string()) throw std::string(key) + " is not a text";
        return value.get_ref<const std::string&>();
    }

  private:
    const json& at(const char* key) const {
        const auto found = object_.find(key);
        if (found == object_.end()) throw "no " + std::string(key) + " in the event";
        return *found;
    }

    const json& object_;
};

event_kind kind_named(const std::string& name) {
    if (name == "log") return event_kind::log;
    if (name == "metric") return event_kind::metric;
    if (name == "property_set") return event_kind::property_set;
    if (name == "write") return event_kind::write;
    throw "unknown event: " + for_message(name);
}

void read_members(const members& from, event& what) {
    what.boot = from.number("boot");
    what.elapsed_s = from.number("elapsed");
    what.kind = kind_named(from.text("event"));
    what.priority = what.buffer = 0;
    what.result = 0;
    switch (what.kind) {
        case event_kind::metric:
            what.buffer = from.small_number("buffer");
            [[fallthrough]];
        case event_kind::log:
            what.priority = from.small_number("priority");
            what.name = from.text("tag");
            what.text = from.text("text");
            break;
        case event_kind::property_set:
            what.name = from.text("name");
            what.text = from.text("value");
            what.result = from.number("result");
            break;
        case event_kind::write: {
            what.name = from.text("path");
            std::optional<std::string> bytes = bytes_from_hex(from.text("data"));
            if (!bytes) throw std::string("data is not hexadecimal");
            what.text = std::move(*bytes);
            what.result = from.number("result");
            break;
        }
    }
}

}  // namespace

void append_json(std::string& out, const event& what) {
    append_number(out, "{\"boot\":", what.boot);
    append_number(out, ",\"elapsed\":", what.elapsed_s);
    switch (what.kind) {
        case event_kind::log:
            append_number(out, R"(,"event":"log","priority":)", what.priority);
            append_text(out, ",\"tag\":", what.name);
            append_text(out, ",\"text\":", what.text);
            break;
        case event_kind::metric:
            append_number(out, R"(,"event":"metric","buffer":)", what.buffer);
            append_number(out, ",\"priority\":", what.priority);
            append_text(out, ",\"tag\":", what.name);
            append_text(out, ",\"text\":", what.text);
            break;
        case event_kind::property_set:
            append_text(out, R"(,"event":"property_set","name":)", what.name);
            append_text(out, ",\"value\":", what.text);
            append_number(out, ",\"result\":", what.result);
            break;
        case event_kind::write:
            append_text(out, R"(,"event":"write","path":)", what.name);
            out += ",\"data\":\"";
            append_hex(out, what.text);
            out.push_back('"');
            append_number(out, ",\"result\":", what.result);
            break;
    }
    out.push_back('}');
}

void event_writer::on_event(const event& what) {
    append_json(file_.buffer(), what);
    file_.buffer().push_back('\n');
    file_.written();
}

// The next line without its line end; false at the end of the file.
bool event_reader::next_line(std::string& line) {
    line.clear();
    for (;;) {
        const std::size_t end = buffer_.find('\n', at_);
        if (end != buffer_.npos) {
            line.append(buffer_, at_, end - at_);
            at_ = end + 1;
            ++line_;
            return true;
        }
        line.append(buffer_, at_);
        if (line.size() > LONGEST_LINE)
            throw input_error(file_.name() + ":" + std::to_string(line_ + 1) + ":1: a line longer than " +
                              std::to_string(LONGEST_LINE) + " bytes");
        at_ = 0;
        buffer_.resize(READ_SIZE);
        buffer_.resize(file_.read(offset_, buffer_.data(), READ_SIZE));
        offset_ += static_cast<std::int64_t>(buffer_.size());
        if (buffer_.empty()) {
            if (!line.empty()) ++line_;
            return !line.empty();
        }
    }
}

void event_reader::rewind() {
    buffer_.clear();
    at_ = 0;
    offset_ = line_ = 0;
}

bool event_reader::next(event& what) {
    const auto fail = [this](std::size_t column, const std::string& wrong) {
        throw input_error(file_.name() + ":" + std::to_string(line_) + ":" + std::to_string(column) + ": " +
                          wrong);
    };
    do {
        if (!next_line(text_)) return false;
    } while (text_.find_first_not_of(" \t\r") == text_.npos);
    try {
        const json object = json::parse(text_);
        if (!object.is_object()) fail(1, "not a JSON object");
        read_members(members(object), what);
    } catch (const json::parse_error& error) {
        fail(error.byte, "not JSON");
    } catch (const std::string& wrong) {
        fail(1, wrong);
    }
    return true;
}

}  // namespace lab
