#include "lab/records/record_writer.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "lab/io/text.h"

namespace lab {

namespace {

constexpr std::size_t FLUSH_SIZE = 1 << 16;

// A JSON string; bytes that are not UTF-8 are replaced.
std::string json_string(std::string_view text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// Digits without leading zeros.
std::string_view json_integer(std::string_view digits) {
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
}

bool is_json_number(value_type type, std::string_view text) {
    if (type == value_type::text) return false;
    return type != value_type::real || text.find('n') == std::string_view::npos;  // inf, nan
}

}  // namespace

record_writer::record_writer(output_format format, sink put, std::vector<const record_schema*> only)
    : format_(format), put_(std::move(put)), only_(std::move(only)) {
    out_.reserve(FLUSH_SIZE * 2);
    if (format_ == output_format::csv) write_csv_header();
}

void record_writer::begin_log(std::string_view name) {
    log_name_ = name;
    log_name_json_ = name.empty() ? "" : json_string(name);
}

bool record_writer::is_wanted(const record_schema* schema) const {
    return only_.empty() || schema == nullptr || std::ranges::find(only_, schema) != only_.end();
}

void record_writer::write(const found_record& found) {
    if (!is_wanted(found.record.schema)) return;
    ++(found.record.result == verdict::good ? records_ : problems_);
    if (format_ == output_format::json) {
        write_json(found);
    } else {
        write_csv(found);
    }
    if (out_.size() >= FLUSH_SIZE) finish();
}

void record_writer::finish() {
    put_(out_);
    out_.clear();
}

void record_writer::write_json(const found_record& found) {
    const parsed_record& record = found.record;
    const bool is_good = record.result == verdict::good;
    out_ += '{';
    if (!log_name_.empty()) out_.append("\"file\":").append(log_name_json_).append(",");
    out_.append("\"line\":").append(std::to_string(found.line));
    if (!found.origin.time.empty()) out_.append(",\"log_time\":\"").append(found.origin.time).append("\"");
    if (!found.origin.pid.empty()) out_.append(",\"pid\":").append(json_integer(found.origin.pid));
    if (found.is_event) {
        out_.append(",\"boot\":").append(std::to_string(found.boot));
        out_.append(",\"elapsed_s\":").append(std::to_string(found.elapsed_s));
    }
    if (!is_good) {
        out_.append(",\"problem\":\"").append(words(record.result));
        out_.append("\",\"detail\":").append(json_string(record.detail));
    }
    if (record.schema != nullptr) {
        out_.append(",\"record\":\"").append(record.schema->words);
        out_.append("\",\"schema\":\"").append(record.schema->id).append("\"");
        if (is_good) out_.append(",\"version\":\"").append(record.version).append("\"");
        write_json_fields(record);
    } else if (!record.schema_id.empty()) {
        out_.append(",\"schema\":").append(json_string(record.schema_id));
    }
    if (!is_good) out_.append(",\"text\":").append(json_string(found.text));
    out_ += "}\n";
}

void record_writer::write_json_fields(const parsed_record& record) {
    const auto fields = record.schema->fields();
    out_ += ",\"fields\":{";
    const char* separator = "\"";
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (record.values[i].data() == nullptr) continue;
        out_.append(separator).append(fields[i].name).append("\":");
        if (is_json_number(fields[i].type, record.values[i])) {
            out_ += record.values[i];
        } else {
            out_ += json_string(record.values[i]);
        }
        separator = ",\"";
    }
    out_ += "},\"units\":{";
    separator = "\"";
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (record.values[i].data() == nullptr || fields[i].unit.empty()) continue;
        out_.append(separator).append(fields[i].name).append("\":\"").append(fields[i].unit).append("\"");
        separator = ",\"";
    }
    out_ += '}';
}

// One column for each field name of the wanted records; a name has the same unit wherever it occurs.
void record_writer::write_csv_header() {
    out_ = "file,line,log_time,pid,boot,elapsed_s,record,schema,version,problem,detail,text";
    for (const record_schema& schema : schemas()) {
        if (!is_wanted(&schema)) continue;
        for (const field_schema& field : schema.fields()) {
            const auto known = std::ranges::find(columns_, field.name, &column::name);
            columns_of_[&schema].push_back(static_cast<std::size_t>(known - columns_.begin()));
            if (known != columns_.end()) continue;
            columns_.push_back({field.name, field.unit});
            out_.append(",").append(field.name);
            if (!field.unit.empty()) out_.append(" [").append(field.unit).append("]");
        }
    }
    out_ += '\n';
}

void record_writer::write_csv(const found_record& found) {
    const parsed_record& record = found.record;
    const bool is_good = record.result == verdict::good;
    append_foreign_csv_cell(out_, log_name_);
    out_.append(",").append(std::to_string(found.line));
    out_.append(",").append(found.origin.time);
    out_.append(",").append(found.origin.pid);
    out_.append(",").append(found.is_event ? std::to_string(found.boot) : "");
    out_.append(",").append(found.is_event ? std::to_string(found.elapsed_s) : "");
    out_.append(",").append(record.schema == nullptr ? "" : record.schema->words);
    for (const std::string_view found_text : {record.schema_id, record.version}) {
        out_ += ',';
        append_foreign_csv_cell(out_, found_text);
    }
    out_.append(",").append(is_good ? "" : words(record.result)).append(",");
    append_foreign_csv_cell(out_, record.detail);
    out_ += ',';
    if (!is_good) append_foreign_csv_cell(out_, found.text);
    cells_.assign(columns_.size(), {});
    if (record.schema != nullptr) {
        const std::vector<std::size_t>& places = columns_of_[record.schema];
        for (std::size_t i = 0; i < places.size(); ++i) cells_[places[i]] = record.values[i];
    }
    for (const std::string_view cell : cells_) {
        out_ += ',';
        if (!cell.empty()) append_foreign_csv_cell(out_, cell);
    }
    out_ += '\n';
}

}  // namespace lab
