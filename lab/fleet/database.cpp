#include "lab/fleet/database.h"

#include <charconv>
#include <filesystem>
#include <sqlite3.h>

#include "lab/io/error.h"
#include "lab/io/text.h"

namespace lab {

database::database(const std::string& file, mode how) : file_(file), handle_(nullptr, sqlite3_close) {
    // The library would wait for a pipe, and read a device.
    std::error_code unknown;
    const auto type = std::filesystem::status(file, unknown).type();
    if (type != std::filesystem::file_type::not_found && type != std::filesystem::file_type::regular)
        throw input_error(file + ": not a regular file");
    sqlite3* opened = nullptr;
    const int flags = how == mode::read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int status = sqlite3_open_v2(file.c_str(), &opened, flags, nullptr);
    handle_.reset(opened);
    if (status != SQLITE_OK) fail();
}

void database::fail() const {
    const char* const why = handle_ ? sqlite3_errmsg(handle_.get()) : "out of memory";
    throw input_error(file_ + ": " + on_one_line(why));
}

void database::run(const std::string& sql) {
    if (sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

query::query(database& of, const std::string& sql) : of_(of), statement_(nullptr, sqlite3_finalize) {
    sqlite3_stmt* made = nullptr;
    const char* rest = nullptr;
    check(sqlite3_prepare_v2(of.handle_.get(), sql.c_str(), -1, &made, &rest));
    statement_.reset(made);
    if (made == nullptr) throw input_error(of.file_ + ": no command: " + for_message(sql));
    sqlite3_stmt* another = nullptr;
    check(sqlite3_prepare_v2(of.handle_.get(), rest, -1, &another, nullptr));
    if (another == nullptr) return;
    sqlite3_finalize(another);
    throw input_error(of.file_ + ": one command at a time, and this is another: " + for_message(rest));
}

void query::check(int status) const {
    if (status != SQLITE_OK) of_.fail();
}

query& query::with(std::int64_t value) {
    check(sqlite3_bind_int64(statement_.get(), ++bound_, value));
    return *this;
}
query& query::with(double value) {
    check(sqlite3_bind_double(statement_.get(), ++bound_, value));
    return *this;
}
query& query::with(const std::string& value) {
    check(sqlite3_bind_text(statement_.get(), ++bound_, value.data(), static_cast<int>(value.size()),
                            SQLITE_TRANSIENT));
    return *this;
}
query& query::with_bytes(const std::string& value) {
    check(sqlite3_bind_blob(statement_.get(), ++bound_, value.data(), static_cast<int>(value.size()),
                            SQLITE_TRANSIENT));
    return *this;
}
query& query::with_nothing() {
    check(sqlite3_bind_null(statement_.get(), ++bound_));
    return *this;
}

bool query::next() {
    const int status = sqlite3_step(statement_.get());
    if (status == SQLITE_ROW) return true;
    if (status != SQLITE_DONE) of_.fail();
    return false;
}

void query::run() {
    while (next()) {
    }
    check(sqlite3_reset(statement_.get()));
    bound_ = 0;
}

int query::count() const {
    return sqlite3_column_count(statement_.get());
}
std::string query::name(int column) const {
    return sqlite3_column_name(statement_.get(), column);
}
bool query::is_nothing(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}
bool query::is_text(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_TEXT;
}
std::int64_t query::integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}
double query::real(int column) const {
    return sqlite3_column_double(statement_.get(), column);
}

std::string query::text(int column) const {
    if (sqlite3_column_type(statement_.get(), column) != SQLITE_FLOAT) return bytes(column);
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, real(column)).ptr};
}

std::string query::bytes(int column) const {
    const bool is_blob = sqlite3_column_type(statement_.get(), column) == SQLITE_BLOB;
    const void* const at = is_blob ? sqlite3_column_blob(statement_.get(), column)
                                   : sqlite3_column_text(statement_.get(), column);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
    return size == 0 ? std::string() : std::string(static_cast<const char*>(at), size);
}

}  // namespace lab
