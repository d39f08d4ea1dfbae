#include "lab/cli/reference.h"

#include <cstdint>
#include <limits>
#include <string_view>

#include "lab/records/record_schema.h"
#include "lab/state/state_layout.h"

namespace lab {

namespace {

std::string code(std::string_view text) {
    return "`" + std::string(text) + "`";
}

void append_row(std::string& out, std::initializer_list<std::string> cells) {
    for (const std::string& cell : cells) out.append("| ").append(cell).append(cell.empty() ? "" : " ");
    out += "|\n";
}

// Sentences of the tables go on after "the daemon".
std::string capitalised(std::string_view text) {
    std::string result(text);
    if (!result.empty() && result[0] >= 'a' && result[0] <= 'z') result[0] -= 'a' - 'A';
    return result;
}

std::string_view disk_type(field_type type) {
    constexpr std::string_view names[] = {"unsigned 8-bit", "signed 32-bit", "signed 64-bit",
                                          "single-precision float"};
    return names[static_cast<std::size_t>(type)];
}

std::string range_of(const state_field& field) {
    const bool is_any = field.type == field_type::u8 ? field.greatest == UINT8_MAX
                        : field.type == field_type::i32
                            ? field.least == INT32_MIN && field.greatest == INT32_MAX
                            : field.least == INT64_MIN;
    if (is_any) return "any";
    if (field.least == field.greatest) return std::to_string(field.least);
    return std::to_string(field.least) + " to " + std::to_string(field.greatest);
}

std::string offset_of(const state_field& field) {
    if (field.rows == 0) return std::to_string(field.offset);
    return "4 × (" + std::to_string(field.columns) + " r + c)";
}

std::string name_of(const state_field& field, const state_file& file) {
    if (field.rows > 0) {
        return code(std::string(file.name) + "[r][c]") + ", r 0 to " + std::to_string(field.rows - 1) +
               ", c 0 to " + std::to_string(field.columns - 1);
    }
    return code(state_place{&file, &field}.name());
}

}  // namespace

std::string metrics_reference() {
    std::string out;
    for (const record_schema& schema : schemas()) {
        out.append("### ").append(capitalised(schema.words)).append("\n\n");
        out.append(code(schema.id)).append(", version ").append(schema.version).append(". ");
        out.append(schema.when).append("\n\n");
        if (schema.fields().empty()) continue;
        out += "| field | type | unit | meaning |\n|---|---|---|---|\n";
        for (const field_schema& field : schema.fields()) {
            append_row(out, {code(field.name), std::string(type_name(field.type)), std::string(field.unit),
                             std::string(field.meaning)});
        }
        out += '\n';
    }
    return out;
}

std::string state_reference() {
    std::string out;
    for (const state_file& file : state_files) {
        out.append("### ").append(file.name).append("\n\n");
        out.append(code(file.path)).append(", ").append(std::to_string(file.size));
        out.append(file.size == 1 ? " byte: " : " bytes: ").append(file.meaning).append(".\n\n");
        out += "| offset | field | type | unit | taken | meaning |\n|---|---|---|---|---|---|\n";
        for (const state_field& field : file.fields()) {
            append_row(out, {offset_of(field), name_of(field, file), std::string(disk_type(field.type)),
                             std::string(field.unit), range_of(field), std::string(field.meaning)});
        }
        out.append("\nMissing: the daemon ").append(file.when_missing).append(". Too short: it ");
        out.append(file.when_short).append(".");
        for (const state_field& field : file.fields()) {
            if (field.otherwise.empty()) continue;
            out.append(" Another ")
                .append(code(field.name))
                .append(": it ")
                .append(field.otherwise)
                .append(".");
        }
        out += "\n\n";
    }
    return out;
}

}  // namespace lab
