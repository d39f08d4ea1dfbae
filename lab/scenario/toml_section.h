// A TOML table whose keys are taken one by one, so that a key nobody asked for is found, with what was
// probably meant.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lab/io/nearest.h"
#include "lab/io/time_text.h"

// The library's own choice for one translation unit after another: no separate library, exceptions on.
#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

namespace lab {

// Throws input_error "name:line:column: what" for a place in the text.
[[noreturn]] void fail_at(const std::string& name, const toml::source_region& place, const std::string& what);

// "07:00" or "07:00:30" as seconds of the day; nothing when it is no time of day.
std::optional<std::int32_t> parse_time_of_day(std::string_view text);
// Seconds since 1970 of a local date and time of this process's zone; nothing when there is no such time.
std::optional<std::int64_t> utc_of_local(const toml::date_time& local);

class toml_section {
  public:
    // `file` for messages; `name` such as "[cell]".
    toml_section(const std::string& file, const toml::table& table, std::string name)
        : file_(file), table_(table), name_(std::move(name)) {}

    const toml::node* take(std::string_view key);
    bool has(std::string_view key) const { return table_.contains(key); }

    // Each: nothing when the key is absent; throws input_error for the wrong type or range.
    std::optional<double> number(std::string_view key, double least, double greatest);
    std::optional<std::int64_t> integer(std::string_view key, std::int64_t least, std::int64_t greatest);
    std::optional<bool> flag(std::string_view key);
    std::optional<std::string> text(std::string_view key);
    // A text, or a number as its text.
    std::optional<std::string> text_or_number(std::string_view key);
    std::optional<std::size_t> choice(std::string_view key, std::span<const std::string_view> names);
    std::optional<std::int64_t> duration(std::string_view key);
    std::optional<std::int32_t> time_of_day(std::string_view key);
    // A duration since the start, or a local date and time after it.
    std::optional<std::int64_t> moment(std::string_view key, std::int64_t start_utc_s);
    // `most`, as each may be looked at in every cycle.
    std::vector<toml_section> tables(std::string_view key, std::size_t most = 10'000);
    std::optional<toml_section> table(std::string_view key);

    // Complains about a key that nobody has taken.
    void finish() const;

    [[noreturn]] void fail(const toml::node& at, const std::string& what) const;
    [[noreturn]] void fail(const std::string& what) const { fail(table_, name_ + ": " + what); }
    const toml::table& content() const { return table_; }
    const std::string& file() const { return file_; }
    // "file:line" of the table.
    std::string where() const;

  private:
    const std::string& file_;
    const toml::table& table_;
    std::string name_;
    std::vector<std::string_view> known_;
};

}  // namespace lab
