/// What the command line takes, as data: help, manual page and completions all tell the same.
#pragma once

#include <deque>
#include <string>
#include <vector>

namespace cali::host {

enum class ValueKind { flag, word, file, folder };

struct OptionEntry {
    std::vector<std::string> names;  ///< with their dashes, the short one first; empty where its place tells it
    std::string value;               ///< how the help names the value; of a flag empty
    std::string description;
    ValueKind kind = ValueKind::word;
    std::vector<std::string> choices;
    std::string range;  ///< "1 to 16"
    std::string default_value;
    std::vector<std::string> excludes;
    int values = 1;      ///< words that follow
    bool many = false;   ///< or as many as one likes
    char separator = 0;  ///< between several values in one word
    bool required = false;
};

struct CommandEntry {
    std::string name;
    std::string description;
    std::deque<OptionEntry> options;  ///< places stay while it grows
    std::vector<std::string> examples;
    std::string notes;  ///< laid out, behind the examples
};

struct CommandTable {
    std::string program;
    std::string version;
    std::string description;
    std::string footer;  ///< laid out
    std::deque<OptionEntry> options;
    std::deque<CommandEntry> commands;
};

[[nodiscard]] inline std::string joined(const std::vector<std::string>& words, const char* between) {
    std::string list;
    for (const std::string& word : words) {
        list += (list.empty() ? "" : between) + word;
    }
    return list;
}

}  // namespace cali::host
