#include "lab/cli/completion.h"

#include <vector>

#include "lab/cli/command_tree.h"
#include "lab/records/record_schema.h"
#include "lab/scenario/scenario.h"
#include "lab/session/device_files.h"
#include "lab/state/state_layout.h"

namespace lab {

namespace {

using strings = std::vector<std::string>;

// The words that an option's value or an argument may be; none when it is a file or free text.
strings words_for(const CLI::Option& option) {
    strings words;
    const std::string name = option.get_positional() ? option.get_name() : option.get_lnames().front();
    if (name == "record") {
        for (const auto& schema : schemas()) words.emplace_back(schema.name);
    } else if (name == "FIELD=VALUE") {
        for (const state_place& place : state_places()) words.push_back(place.name() + "=");
    } else if (option.get_type_name() == "KEY=VALUE") {
        for (const std::string& key : scenario_key_names()) words.push_back(key + "=");
    } else if (option.get_type_name() == "COLUMN=TEXT") {
        for (const device_file& node : DEVICE_NODES) words.push_back(std::string(node.name) + "=");
    } else if (name == "SHELL") {
        words = {"bash", "fish", "zsh"};
    }
    return words;
}

bool is_directory(const CLI::Option& option) {
    return option.get_type_name() == "DIR" || option.get_name() == "DIR";
}

std::string joined(const strings& words, const char* separator) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
    return text;
}

// One branch of the shell's case for each command: what may follow there.
void append_bash_branches(const CLI::App& app, const std::string& path, std::string& out) {
    strings words;
    for (const CLI::App* command : commands_of(app)) words.push_back(command->get_name());
    strings options;
    std::string values;
    for (const CLI::Option* option : options_of(app)) {
        const strings names = names_of(*option);
        options.insert(options.end(), names.begin(), names.end());
        if (!takes_value(*option)) continue;
        const strings choice = words_for(*option);
        values += "        " + joined(names, " | ") +
                  ") kind=" + (is_directory(*option) ? "directory" : "file") +
                  (choice.empty() ? "" : " words='" + joined(choice, " ") + "'") + " ;;\n";
    }
    for (const CLI::Option* argument : arguments_of(app)) {
        const strings more = words_for(*argument);
        words.insert(words.end(), more.begin(), more.end());
    }
    out += "    '" + path + "')\n";
    out += "        options='" + joined(options, " ") + "'\n";
    out += "        words='" + joined(words, " ") + "'\n";
    if (!values.empty()) out += "        case $before in\n" + values + "        esac\n";
    out += "        ;;\n";
    for (const CLI::App* command : commands_of(app))
        append_bash_branches(*command, path + " " + command->get_name(), out);
}

void append_paths(const CLI::App& app, const std::string& path, strings& paths) {
    for (const CLI::App* command : commands_of(app)) {
        const std::string below = path + " " + command->get_name();  // of its own: the list moves as it grows
        paths.push_back(below);
        append_paths(*command, below, paths);
    }
}

// Text within the single quotes of a zsh argument, where brackets and colons have a meaning.
std::string zsh_text(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '\'') {
            result += "'\\''";
            continue;
        }
        if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
        result += c;
    }
    return result;
}

std::string zsh_action(const CLI::Option& option) {
    const strings words = words_for(option);
    if (!words.empty()) {
        strings quoted;
        for (const std::string& word : words) quoted.push_back(zsh_text(word));
        // A word that ends in "=" waits for its value, so no space follows it.
        const bool goes_on = words.front().ends_with('=');
        return goes_on ? "{compadd -S \"\" -- \"" + joined(quoted, "\" \"") + "\"}"
                       : "(" + joined(quoted, " ") + ")";
    }
    return is_directory(option) ? "_files -/" : "_files";
}

// A function for the command: its options and arguments, or which of its commands comes next.
void append_zsh_function(const CLI::App& app, const std::string& function, std::string& out) {
    const auto commands = commands_of(app);
    for (const CLI::App* command : commands)
        append_zsh_function(*command, function + "_" + command->get_name(), out);
    out += "\n" + function + "() {\n";
    if (!commands.empty()) out += "    local context state line\n    local -a commands\n";
    out += "    _arguments -s";
    for (const CLI::Option* option : options_of(app)) {
        for (const std::string& name : names_of(*option)) {
            out += " \\\n        '*" + name + "[" + zsh_text(option->get_description()) + "]";
            if (takes_value(*option))
                out += ":" + zsh_text(option->get_type_name()) + ":" + zsh_action(*option);
            out += "'";
        }
    }
    for (const CLI::Option* argument : arguments_of(app)) {
        out += " \\\n        '" + std::string(is_repeatable(*argument) ? "*" : "") + ":" +
               zsh_text(argument->get_name()) + ":" + zsh_action(*argument) + "'";
    }
    if (commands.empty()) {
        out += "\n}\n";
        return;
    }
    out +=
        " \\\n        '1:command:->command' '*::argument:->argument'\n    case $state in\n    command)\n     "
        "   commands=(\n";
    for (const CLI::App* command : commands)
        out += "            '" + command->get_name() + ":" + zsh_text(command->get_description()) + "'\n";
    out += "        )\n        _describe command commands\n        ;;\n    argument) " + function +
           "_${words[1]} ;;\n    esac\n}\n";
}

std::string fish_text(const std::string& text) {
    std::string result;
    for (const char c : text) result += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return "'" + result + "'";
}

// What an option's value or an argument may be, as arguments of fish's complete.
std::string fish_values(const CLI::Option& option) {
    const strings words = words_for(option);
    if (!words.empty()) return " -f -a " + fish_text(joined(words, " "));
    return is_directory(option) ? " -f -a '(__fish_complete_directories)'" : " -F";
}

void append_fish_lines(const CLI::App& app, const std::string& path, std::string& out) {
    const std::string here = "complete -c vorn-lab -n " + fish_text("__vorn_lab_at \"" + path + "\"");
    for (const CLI::App* command : commands_of(app))
        out += here + " -f -a " + command->get_name() + " -d " + fish_text(command->get_description()) + "\n";
    for (const CLI::Option* option : options_of(app)) {
        out += here;
        for (const std::string& name : option->get_lnames()) out += " -l " + name;
        for (const std::string& name : option->get_snames()) out += " -s " + name;
        if (takes_value(*option)) out += " -r" + fish_values(*option);
        out += " -d " + fish_text(option->get_description()) + "\n";
    }
    for (const CLI::Option* argument : arguments_of(app)) out += here + fish_values(*argument) + "\n";
    for (const CLI::App* command : commands_of(app))
        append_fish_lines(*command, path + " " + command->get_name(), out);
}

}  // namespace

std::string bash_completion(const CLI::App& app) {
    strings paths;
    append_paths(app, "", paths);
    std::string out = "# Completion for bash, made by: " + app.get_name() + R"( completion bash

_vorn_lab() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local path='' options='' words='' kind='' each
    # "--record=name" comes as three words.
    if [[ $word == = ]]; then
        word=''
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case "$path $each" in
        )";
    strings quoted;
    for (const std::string& path : paths) quoted.push_back("'" + path + "'");
    out += joined(quoted, " | ") + R"() path="$path $each" ;;
        esac
    done
    case $path in
)";
    append_bash_branches(app, "", out);
    out += R"(    esac
    COMPREPLY=()
    if [[ -z $kind && $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
        return
    fi
    [[ -n $words ]] && mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    [[ ${COMPREPLY[0]} == *= ]] && compopt -o nospace 2>/dev/null
    if [[ ${#COMPREPLY[@]} -eq 0 ]]; then
        [[ $kind == directory ]] && mapfile -t COMPREPLY < <(compgen -d -- "$word")
        [[ $kind == directory ]] || mapfile -t COMPREPLY < <(compgen -f -- "$word")
        compopt -o filenames 2>/dev/null
    fi
}

complete -F _vorn_lab vorn-lab
)";
    return out;
}

std::string fish_completion(const CLI::App& app) {
    std::string out = "# Completion for fish, made by: " + app.get_name() + R"( completion fish

# Whether the words so far name this command, and none below it.
function __vorn_lab_at
    set -l words
    for each in (commandline -opc)[2..]
        string match -q -- '-*' $each; and continue
        contains -- "$words $each" )";
    strings paths, quoted;
    append_paths(app, "", paths);
    for (const std::string& path : paths) quoted.push_back("'" + path + "'");
    out += joined(quoted, " ") + R"(; and set words "$words $each"
    end
    test "$words" = "$argv[1]"
end

complete -c vorn-lab -n '__vorn_lab_at ""' -f
)";
    append_fish_lines(app, "", out);
    return out;
}

std::string zsh_completion(const CLI::App& app) {
    std::string out =
        "#compdef vorn-lab\n# Completion for zsh, made by: " + app.get_name() + " completion zsh\n";
    append_zsh_function(app, "_vorn-lab", out);
    return out + "\n_vorn-lab \"$@\"\n";
}

}  // namespace lab
