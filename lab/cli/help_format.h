// --help within a terminal of 80 columns.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace lab {

constexpr std::size_t HELP_WIDTH = 80;  // columns

// The words of `text` in lines of at most `width` bytes.
std::string wrapped(const std::string& text, std::size_t width);

class help_format : public CLI::Formatter {
  public:
    help_format() { column_width(NAME_WIDTH); }

    std::string make_option_desc(const CLI::Option* option) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_help(const CLI::App* command, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_description(const CLI::App* command) const override;

  private:
    static constexpr std::size_t NAME_WIDTH = 26;  // columns before the descriptions
};

}  // namespace lab
