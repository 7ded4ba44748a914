/// The command line behind types of our own: its library's header would cost every command seconds to compile.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/record.h"
#include "captures/geometry.h"
#include "commands/command_table.h"
#include "library/library_call.h"
#include "outputs/register_files.h"
#include "session/session.h"

namespace cali::host {

/// One option, to be refined where it is added.
class Option {
public:
    /// How the help names its value.
    Option& type_name(const char* name);
    Option& required();
    Option& show_default();
    /// As many values, no more and no fewer.
    Option& expected(int count);
    Option& excludes(const Option& other);
    /// Numbers within limits, and nothing else.
    Option& range(double low, double high);
    Option& whole_range(int low, int high);
    Option& whole_range(unsigned low, unsigned high);
    Option& one_of(std::vector<std::string> names);
    /// For completion; what else is typed the command itself judges.
    Option& suggests(std::vector<std::string> names);
    /// The value is the name of a folder, or of a file though it is read as text.
    Option& takes(ValueKind kind);
    /// Several values in one word.
    Option& separated_by(char separator);

private:
    friend class Command;
    Option(void* option, OptionEntry& entry) : option_(option), entry_(&entry) {}
    void* option_;
    OptionEntry* entry_;
};

/// A command as it was called.
struct Invocation {
    std::string command;
    OptionRecord options;
};

/// A subcommand.
class Command {
public:
    /// A value after "--name", or by its place where the name has no dashes. T: text, number, list or optional of them.
    template <typename T>
    Option option(const char* name, T& value, const char* help);
    /// A file or folder, as users name it.
    Option option(const char* name, std::filesystem::path& value, const char* help);
    Option option(const char* name, std::vector<std::filesystem::path>& value, const char* help);
    Option flag(const char* name, bool& value, const char* help);
    /// "--name,!--no-name"; stays empty where neither is given.
    Option flag(const char* names, std::optional<bool>& value, const char* help);

    /// Lines of examples, each behind two blanks; what follows them are notes.
    void examples(const std::string& text);
    /// The action returns the exit status.
    void run(std::function<int()> action);

    /// Name, and the options that were given and that can change a result, in order. Of paths the last part.
    [[nodiscard]] Invocation invocation() const;

private:
    friend class CommandLine;
    Command(void* app, int* status, CommandEntry& entry) : app_(app), status_(status), entry_(&entry) {}
    Option enter(void* option);
    void* app_;
    int* status_;
    CommandEntry* entry_;
};

class CommandLine {
public:
    CommandLine(const char* description, const char* version, const char* footer);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    Command add(const char* name, const char* description);
    /// Of what was added so far.
    [[nodiscard]] const CommandTable& table() const;

    /// Runs the command that is named and returns its exit status; 0 where help or version were asked for and printed.
    /// Throws InputError where the line is wrong; what the command throws passes through.
    int parse_and_run(std::vector<std::string> arguments);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// --session, --size, --pattern, --bits and how headerless files lie, as commands on single captures take them.
class GeometryOptions {
public:
    void add_to(Command& command);

    /// What the session says, overridden by the options. Throws InputError.
    [[nodiscard]] Geometry geometry() const;
    [[nodiscard]] std::optional<Session> session() const;
    /// The file as a capture, with the gain that the session states for it.
    [[nodiscard]] CaptureEntry entry(const std::filesystem::path& file) const;
    /// Reads it. Throws InputError.
    [[nodiscard]] Capture capture(const std::filesystem::path& file) const;
    [[nodiscard]] const std::filesystem::path& session_file() const { return session_; }

private:
    std::filesystem::path session_;
    std::string size_;
    std::string pattern_;
    std::optional<int> bits_;
    std::string packing_;
    std::string byte_order_;
    std::optional<int> stride_bytes_;
    std::optional<int> header_bytes_;
    std::optional<double> gain_;
};

/// --verbose and --log: where the library's own output goes.
class OutputOptions {
public:
    void add_to(Command& command);
    [[nodiscard]] LibraryOutput output() const;
    [[nodiscard]] bool verbose() const { return verbose_; }
    [[nodiscard]] const std::filesystem::path& log() const { return log_; }

private:
    bool verbose_ = false;
    std::filesystem::path log_;
};

/// --illuminant: a colour temperature.
class LightOption {
public:
    void add_to(Command& command, const char* help);
    [[nodiscard]] std::optional<double> kelvin() const { return kelvin_ > 0 ? std::optional(kelvin_) : std::nullopt; }

private:
    double kelvin_ = 0;
};

/// --registers and --corrected.
void add_shading_options(Command& command, ShadingFileChoice& choice);

/// A command's options, set up by `describe` and acted on by `act`, which returns the exit status, when the command is
/// named.
template <typename Options>
void add_command(CommandLine& line, const char* name, const char* description, void (*describe)(Command&, Options&),
                 int (*act)(const Options&, const Invocation&)) {
    auto options = std::make_shared<Options>();
    Command command = line.add(name, description);
    describe(command, *options);
    command.run([options, act, command] { return act(*options, command.invocation()); });
}

}  // namespace cali::host
