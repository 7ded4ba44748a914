#include "commands/completions.h"

#include <string_view>
#include <vector>

#include "base/choice.h"

namespace cali::host {
namespace {

std::string replaced(std::string_view text, char what, const char* by) {
    std::string result;
    for (const char c : text) {
        c == what ? result += by : result += c;
    }
    return result;
}

/// One word, for bash and zsh.
std::string shell_quoted(std::string_view text) { return "'" + replaced(text, '\'', "'\\''") + "'"; }

/// What stands where its place tells it; null where nothing does.
const OptionEntry* positional(const CommandEntry& command) {
    for (const OptionEntry& option : command.options) {
        if (option.names.empty()) {
            return &option;
        }
    }
    return nullptr;
}

template <typename Options>
std::vector<std::string> names_of(const Options& options) {
    std::vector<std::string> names;
    for (const OptionEntry& option : options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

constexpr const char* kBashHead = R"(# Completion of cali for bash, written by: cali help --completion bash

_cali_words() {
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

# Several in one word. Arguments: what separates them, the choices, the word.
_cali_list() {
    local before=
    [[ $3 != *"$1"* ]] || before=${3%"$1"*}$1
    mapfile -t COMPREPLY < <(compgen -P "$before" -W "$2" -- "${3##*"$1"}")
    compopt -o nospace 2>/dev/null
}

_cali_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen "$1" -- "$2")
}

_cali() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} command= i
    COMPREPLY=()
    # --name=value comes as three words.
    if [[ $cur == = ]]; then
        cur=
    elif [[ $prev == = ]]; then
        prev=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == -* ]] || { command=${COMP_WORDS[i]}; break; }
    done
    case $command in
)";

std::string bash_value(const OptionEntry& option) {
    if (!option.choices.empty()) {
        const std::string choices = shell_quoted(joined(option.choices, " ")) + " \"$cur\"";
        return option.separator != 0 ? "_cali_list " + shell_quoted(std::string(1, option.separator)) + " " + choices
                                     : "_cali_words " + choices;
    }
    switch (option.kind) {
        case ValueKind::file: return "_cali_files -f \"$cur\"";
        case ValueKind::folder: return "_cali_files -d \"$cur\"";
        default: return "return";
    }
}

std::string bash_completions(const CommandTable& table) {
    std::vector<std::string> first = names_of(table.options);
    std::string text = kBashHead;
    for (const CommandEntry& command : table.commands) {
        first.push_back(command.name);
        text += "        " + command.name + ")\n            case $prev in\n";
        for (const OptionEntry& option : command.options) {
            if (option.kind != ValueKind::flag && !option.names.empty()) {
                text += "                " + joined(option.names, "|") + ") " + bash_value(option) + " ;;\n";
            }
        }
        const OptionEntry* const place = positional(command);
        text +=
            "                *)\n                    if [[ $cur == -* ]]; then\n                        _cali_words " +
            shell_quoted(joined(names_of(command.options), " ")) + " \"$cur\"\n";
        text +=
            place == nullptr ? "" : "                    else\n                        " + bash_value(*place) + "\n";
        text += "                    fi ;;\n            esac ;;\n";
    }
    text += "        '') _cali_words " + shell_quoted(joined(first, " ")) + " \"$cur\" ;;\n    esac\n}\n\n";
    return text + "complete -F _cali cali\n";
}

std::string zsh_described(std::string_view text) {
    return replaced(replaced(replaced(text, '\\', "\\\\"), '[', "\\["), ']', "\\]");
}

std::string zsh_action(const OptionEntry& option) {
    if (!option.choices.empty()) {
        return option.separator != 0
                   ? "_values -s " + std::string(1, option.separator) + " choice " + joined(option.choices, " ")
                   : "(" + joined(option.choices, " ") + ")";
    }
    switch (option.kind) {
        case ValueKind::file: return "_files";
        case ValueKind::folder: return "_files -/";
        default: return " ";
    }
}

/// The colons and what stands between them, once for each value.
std::string zsh_values(const OptionEntry& option) {
    const std::string value = replaced(option.value, ':', "\\:") + ":" + zsh_action(option);
    if (option.many && option.separator == 0) {
        return ":*-*:" + value;  // as far as the next option
    }
    std::string text;
    for (int i = 0; i < option.values; ++i) {
        text += ":" + value;
    }
    return text;
}

template <typename Options>
std::string zsh_options(const Options& options, const std::string& indent) {
    std::string text;
    int place = 0;
    for (const OptionEntry& option : options) {
        if (option.names.empty()) {
            const std::string at = option.many ? "*" : std::to_string(++place);
            text += " \\\n" + indent + shell_quoted(at + ":" + option.value + ":" + zsh_action(option));
        }
        std::vector<std::string> others = option.excludes;
        others.insert(others.end(), option.names.begin(), option.names.end());
        const bool again = option.many && option.kind != ValueKind::flag;
        for (const std::string& name : option.names) {
            const bool value = option.kind != ValueKind::flag;
            text += " \\\n" + indent +
                    shell_quoted((again ? "*" : "(" + joined(others, " ") + ")") + name + (value ? "=" : "") + "[" +
                                 zsh_described(option.description) + "]" + (value ? zsh_values(option) : ""));
        }
    }
    return text;
}

std::string zsh_completions(const CommandTable& table) {
    std::string text =
        "#compdef cali\n# Completion of cali for zsh, written by: cali help --completion zsh\n\n_cali() {\n"
        "    local curcontext=$curcontext state line\n    typeset -A opt_args\n    local -a commands\n    commands=(\n";
    for (const CommandEntry& command : table.commands) {
        text += "        " + shell_quoted(command.name + ":" + command.description) + "\n";
    }
    text += "    )\n    _arguments -C" + zsh_options(table.options, "        ") +
            " \\\n        '1:command:->command' '*::argument:->argument' && return\n"
            "    case $state in\n        command) _describe -t commands command commands ;;\n"
            "        argument)\n            case $words[1] in\n";
    for (const CommandEntry& command : table.commands) {
        text += "                " + command.name + ")\n                    _arguments" +
                zsh_options(command.options, "                        ") + " ;;\n";
    }
    return text +
           "            esac ;;\n    esac\n}\n\n"
           "if [[ $funcstack[1] == _cali ]]; then\n    _cali \"$@\"\nelse\n    compdef _cali cali\nfi\n";
}

std::string fish_quoted(std::string_view text) {
    return "'" + replaced(replaced(text, '\\', "\\\\"), '\'', "\\'") + "'";
}

std::string fish_value(const OptionEntry& option) {
    if (!option.choices.empty()) {
        const std::string choices = joined(option.choices, " ");
        return " -x -a " + fish_quoted(option.separator != 0
                                           ? "(__fish_append " + std::string(1, option.separator) + " " + choices + ")"
                                           : choices);
    }
    switch (option.kind) {
        case ValueKind::flag: return "";
        case ValueKind::file: return " -r -F";
        case ValueKind::folder: return " -x -a '(__fish_complete_directories)'";
        default: return " -x";
    }
}

template <typename Options>
std::string fish_options(const Options& options, const std::string& when) {
    std::string text;
    for (const OptionEntry& option : options) {
        std::string names;
        for (const std::string& name : option.names) {
            names += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
        }
        if (option.names.empty() && option.choices.empty() && option.kind == ValueKind::word) {
            continue;
        }
        text += "complete -c cali -n ";
        text += when + names + fish_value(option) + " -d " + fish_quoted(option.description) + "\n";
    }
    return text;
}

std::string fish_completions(const CommandTable& table) {
    std::string text =
        "# Completion of cali for fish, written by: cali help --completion fish\n\n"
        "# Whether the command is the one that is named, or none yet.\n"
        "function __cali_runs\n    set -l words (commandline -opc)\n    test \"$words[2]\" = \"$argv[1]\"\nend\n\n"
        "complete -c cali -f\n" +
        fish_options(table.options, "__cali_runs");
    for (const CommandEntry& command : table.commands) {
        text += "complete -c cali -n __cali_runs -a " + command.name + " -d " + fish_quoted(command.description) + "\n";
    }
    for (const CommandEntry& command : table.commands) {
        text += fish_options(command.options, "'__cali_runs " + command.name + "'");
    }
    return text;
}

}  // namespace

std::string completions(const CommandTable& table, const std::string& shell) {
    switch (parse_choice<std::size_t>(kShells, shell, "--completion")) {
        case 0: return bash_completions(table);
        case 1: return zsh_completions(table);
        default: return fish_completions(table);
    }
}

}  // namespace cali::host
