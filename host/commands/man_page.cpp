#include "commands/man_page.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

namespace cali::host {
namespace {

using Entry = std::pair<const char*, const char*>;

constexpr std::array<Entry, 5> kStatuses = {{
    {"0", "Pass, or warnings."},
    {"1", "A check failed, a capture gave no values, or an output could not be written."},
    {"2", "Wrong input: one line on standard error."},
    {"3", "Warnings, with --strict."},
    {"128 + signal", "Interrupted; no temporary file stays."},
}};

constexpr std::array<Entry, 3> kFiles = {{
    {"session.toml", "A session: the sensor, its captures and how they are to be calibrated. 'cali init' writes one."},
    {"results.json", "The values, who made them of what, and how they were judged. Commands add to it, step by step."},
    {"truth.json", "What 'cali simulate' knows of its sensor, to be held against the results."},
}};

constexpr std::array<Entry, 1> kEnvironment = {{
    {"CALI_ISA",
     "The instruction set that the library computes with: baseline, avx2 or avx512. Default: the widest that the "
     "machine "
     "has. Results do not depend on it."},
}};

/// As it stands: a hyphen or a quote may otherwise become another character, a point at the line's start a request.
std::string escaped(std::string_view text) {
    std::string line;
    bool starts = true;
    for (const char c : text) {
        switch (c) {
            case '\\': line += "\\e"; break;
            case '-': line += "\\-"; break;
            case '\'': line += "\\(aq"; break;
            case '`': line += "\\(ga"; break;
            case '^': line += "\\(ha"; break;
            case '~': line += "\\(ti"; break;
            case '.': line += starts ? "\\&." : "."; break;
            default: line += c;
        }
        starts = c == '\n';
    }
    return line;
}

std::string bold(std::string_view text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + escaped(text) + "\\fR"; }

/// With the lines and blanks that it has.
std::string laid_out(std::string_view text) { return ".nf\n" + escaped(text) + "\n.fi\n"; }

std::string tagged(const std::string& tag, const std::string& text) { return ".TP\n" + tag + "\n" + text + "\n"; }

template <std::size_t size>
std::string section(const char* title, const std::array<Entry, size>& entries) {
    std::string page = std::string(".SH ") + title + "\n";
    for (const auto& [name, text] : entries) {
        page += tagged(bold(name), escaped(text));
    }
    return page;
}

std::string value_of(const OptionEntry& option) {
    const std::string count = option.many ? "..." : option.values > 1 ? " x " + std::to_string(option.values) : "";
    return italic(option.value) + escaped(count);
}

std::string heading(const OptionEntry& option) {
    if (option.names.empty()) {
        return value_of(option);
    }
    std::string names;
    for (const std::string& name : option.names) {
        names += (names.empty() ? "" : ", ") + bold(name);
    }
    return option.kind == ValueKind::flag ? names : names + " " + value_of(option);
}

std::string sentence(std::string text) {
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    return text.back() == '.' ? text : text + ".";
}

std::string described(const OptionEntry& option) {
    std::string text = option.description + ".";
    if (!option.choices.empty()) {
        text += std::string(option.separator != 0 ? " Of: " : " One of: ") + joined(option.choices, ", ") + ".";
    }
    text += option.range.empty() ? "" : " Range: " + option.range + ".";
    text += option.default_value.empty() ? "" : " Default: " + option.default_value + ".";
    text += option.required ? " Required." : "";
    text += option.excludes.empty() ? "" : " Not with " + joined(option.excludes, ", ") + ".";
    return escaped(text);
}

template <typename Options>
std::string listed(const Options& options) {
    std::string page;
    for (const OptionEntry& option : options) {
        page += tagged(heading(option), described(option));
    }
    return page;
}

std::string synopsis(const CommandTable& table, const CommandEntry& command) {
    std::string line = bold(table.program + " " + command.name) + " [" + italic("OPTIONS") + "]";
    for (const OptionEntry& option : command.options) {
        if (option.names.empty()) {
            line += option.required ? " " + value_of(option) : " [" + value_of(option) + "]";
        }
    }
    return line + "\n";
}

}  // namespace

std::string man_page(const CommandTable& table) {
    std::string title = table.program;
    std::ranges::transform(title, title.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const std::string version = table.version.substr(0, table.version.find('\n'));
    std::string what = table.description.substr(0, table.description.find_last_not_of('.') + 1);
    what.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(what.front())));

    std::string page = ".TH " + title + " 1 \"\" \"" + escaped(version) + "\" \"User Commands\"\n.nh\n.ad l\n";
    page += ".SH NAME\n" + escaped(table.program) + " \\- " + escaped(what) + "\n";
    page += ".SH SYNOPSIS\n" + bold(table.program) + " " + italic("COMMAND") + " [" + italic("OPTIONS") + "]\n";
    page += ".SH DESCRIPTION\n" + escaped(table.description) + "\n" +
            "Each command applies what earlier ones left in a results file and adds its own values, judged.\n.PP\n" +
            laid_out(table.footer);
    page += listed(table.options);
    page += ".SH COMMANDS\n";
    for (const CommandEntry& command : table.commands) {
        page += ".SS " + escaped(command.name) + "\n" + synopsis(table, command) + ".PP\n" +
                escaped(sentence(command.description)) + "\n" + listed(command.options);
        page += command.notes.empty() ? "" : ".PP\n" + laid_out(command.notes);
    }
    page += section("EXIT STATUS", kStatuses);
    page += section("FILES", kFiles);
    page += ".SH EXAMPLES\n";
    for (const CommandEntry& command : table.commands) {
        page += ".PP\n" + escaped(sentence(command.description)) + "\n.PP\n.RS 4\n";
        for (const std::string& example : command.examples) {
            page += laid_out(example);
        }
        page += ".RE\n";
    }
    page += section("ENVIRONMENT", kEnvironment);
    page += ".SH SEE ALSO\n" + bold(table.program + " help " + "TOPIC") + ", " +
            bold(table.program + " COMMAND --help") + ", and the manual: " + italic("docs/guide.md") +
            " to begin with.\n";
    return page;
}

}  // namespace cali::host
