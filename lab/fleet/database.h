// database: an SQLite file, by whom every failure is told as an error that names it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace lab {

class database;

// Rows that a command gives, one by one; its values are numbered from 0.
class query {
  public:
    query(database& of, const std::string& sql);

    // The parameters, from the first on; each call the next one.
    query& with(std::int64_t value);
    query& with(double value);
    query& with(const std::string& value);
    query& with_bytes(const std::string& value);
    query& with_nothing();

    bool next();  // false: no more rows
    void run();   // a command without rows; afterwards it takes parameters anew

    int count() const;
    std::string name(int column) const;
    bool is_nothing(int column) const;
    bool is_text(int column) const;
    std::int64_t integer(int column) const;
    double real(int column) const;
    std::string text(int column) const;  // a number as it reads back the same
    std::string bytes(int column) const;

  private:
    void check(int status) const;

    database& of_;
    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement_;
    int bound_ = 0;
};

class database {
  public:
    enum class mode : std::uint8_t { read, write };

    // Throws input_error, here and from everything else: "FILE: what".
    database(const std::string& file, mode how);

    void run(const std::string& sql);
    const std::string& file() const { return file_; }

  private:
    friend class query;
    [[noreturn]] void fail() const;

    std::string file_;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> handle_;
};

}  // namespace lab
