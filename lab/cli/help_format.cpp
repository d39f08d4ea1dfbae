#include "lab/cli/help_format.h"

#include <sstream>
#include <utility>

namespace lab {

std::string wrapped(const std::string& text, std::size_t width) {
    std::istringstream words(text);
    std::string result;
    std::size_t line_length = 0;
    for (std::string word; words >> word;) {
        if (line_length > 0) {
            const bool fits = line_length + 1 + word.size() <= width;
            result += fits ? ' ' : '\n';
            line_length = fits ? line_length + 1 : 0;
        }
        result += word;
        line_length += word.size();
    }
    return result;
}

std::string help_format::make_option_desc(const CLI::Option* option) const {
    return wrapped(CLI::Formatter::make_option_desc(option), HELP_WIDTH - NAME_WIDTH);
}

std::string help_format::make_subcommand(const CLI::App* command) const {
    std::ostringstream out;
    CLI::detail::format_help(out, command->get_name(),
                             wrapped(command->get_description(), HELP_WIDTH - NAME_WIDTH), NAME_WIDTH);
    return out.str();
}

std::string help_format::make_help(const CLI::App* command, std::string name, CLI::AppFormatMode mode) const {
    std::string text = CLI::Formatter::make_help(command, std::move(name), mode);
    while (text.ends_with("\n\n\n")) text.pop_back();  // where options are left out
    return text;
}

std::string help_format::make_description(const CLI::App* command) const {
    const std::string text = CLI::Formatter::make_description(command);
    return text.empty() ? text : wrapped(text, HELP_WIDTH) + "\n";
}

}  // namespace lab
