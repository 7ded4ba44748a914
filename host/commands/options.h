/// The command line behind types of our own: its library's header would cost every command seconds to compile.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "captures/geometry.h"
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
    Option& one_of(std::initializer_list<std::string> names);

private:
    friend class Command;
    explicit Option(void* option) : option_(option) {}
    void* option_;
};

/// A subcommand.
class Command {
public:
    /// A value after "--name", or by its place where the name has no dashes. T: text, number, list or optional of them.
    template <typename T>
    Option option(const char* name, T& value, const char* help);
    Option flag(const char* name, bool& value, const char* help);
    /// "--name,!--no-name"; stays empty where neither is given.
    Option flag(const char* names, std::optional<bool>& value, const char* help);

    void examples(const std::string& text);
    void run(std::function<void()> action);

private:
    friend class CommandLine;
    explicit Command(void* app) : app_(app) {}
    void* app_;
};

class CommandLine {
public:
    CommandLine(const char* description, const char* version, const char* footer);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    Command add(const char* name, const char* description);

    /// Runs the command that is named. Nothing where help or version were asked for and printed, or where one ran;
    /// else a text that says what is wrong with the line. What the command throws passes through.
    std::optional<std::string> parse_and_run(int argc, char** argv);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// --session, --size, --pattern and --bits, as commands on single captures take them.
class GeometryOptions {
public:
    void add_to(Command& command);

    /// What the session says, overridden by the options. Throws InputError.
    [[nodiscard]] Geometry geometry() const;
    [[nodiscard]] std::optional<Session> session() const;

private:
    std::string session_;
    std::string size_;
    std::string pattern_;
    std::optional<int> bits_;
};

/// --verbose and --log: where the library's own output goes.
class OutputOptions {
public:
    void add_to(Command& command);
    [[nodiscard]] LibraryOutput output() const;

private:
    bool verbose_ = false;
    std::string log_;
};

/// --illuminant: a colour temperature.
class LightOption {
public:
    void add_to(Command& command, const char* help);
    [[nodiscard]] std::optional<double> kelvin() const { return kelvin_ > 0 ? std::optional(kelvin_) : std::nullopt; }

private:
    double kelvin_ = 0;
};

/// --results: the file to write.
void add_results_option(Command& command, std::string& file);

/// --registers and --corrected.
void add_shading_options(Command& command, ShadingFileChoice& choice);

/// A command's options, set up by `describe` and acted on by `act` when the command is named.
template <typename Options>
void add_command(CommandLine& line, const char* name, const char* description, void (*describe)(Command&, Options&),
                 void (*act)(const Options&)) {
    auto options = std::make_shared<Options>();
    Command command = line.add(name, description);
    describe(command, *options);
    command.run([options, act] { act(*options); });
}

}  // namespace cali::host
