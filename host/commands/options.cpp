#include "commands/options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <string_view>

#include "base/error.h"
#include "base/text.h"
#include "captures/burst.h"
#include "captures/limits.h"

namespace cali::host {
namespace {

CLI::Option& option_of(void* option) { return *static_cast<CLI::Option*>(option); }
CLI::App& app_of(void* app) { return *static_cast<CLI::App*>(app); }

/// What a result does not depend on.
constexpr std::array<std::string_view, 18> kWithoutEffect = {
    "--results",   "--out",       "--log",  "--verbose", "--json",     "--strict",
    "--progress",  "--picture",   "--cube", "--plot",    "--pictures", "--tables",
    "--registers", "--corrected", "--new",  "--jobs",    "--help",     "--report"};

/// The option as its library knows it when it is added; refinements follow.
OptionEntry entry_of(const CLI::Option& option) {
    OptionEntry entry;
    for (const std::string& name : option.get_snames()) {
        entry.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        entry.names.push_back("--" + name);
    }
    const bool flag = option.get_items_expected_max() == 0 || option.get_type_size() == 0;
    entry.kind = flag ? ValueKind::flag : ValueKind::word;
    entry.value = flag ? "" : option.nonpositional() ? option.get_type_name() : option.get_name();
    entry.many = !flag && option.get_expected_max() >= CLI::detail::expected_max_vector_size;
    entry.description = option.get_description();
    return entry;
}

/// CLI::Range lets NaN pass.
class NumberRange : public CLI::Validator {
public:
    NumberRange(double low, double high) {
        const std::string limits = text("%g to %g", low, high);
        description("NUMBER in " + limits);
        func_ = [low, high, limits](std::string& text) {
            double value = 0;
            const bool inside = CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
            return inside ? std::string() : "Value " + text + " not in range " + limits;
        };
    }
};

}  // namespace

Option& Option::type_name(const char* name) {
    option_of(option_).type_name(name);
    entry_->value = name;
    return *this;
}

Option& Option::required() {
    option_of(option_).required();
    entry_->required = true;
    return *this;
}

Option& Option::show_default() {
    option_of(option_).capture_default_str();
    entry_->default_value = option_of(option_).get_default_str();
    return *this;
}

Option& Option::expected(int count) {
    option_of(option_).expected(count);
    entry_->values = count;
    entry_->many = false;
    return *this;
}

Option& Option::excludes(const Option& other) {
    option_of(option_).excludes(&option_of(other.option_));
    const auto names = [](const OptionEntry& entry) {
        return entry.names.empty() ? std::vector{entry.value} : entry.names;
    };
    for (const auto& [one, another] : {std::pair(entry_, other.entry_), std::pair(other.entry_, entry_)}) {
        std::ranges::copy(names(*another), std::back_inserter(one->excludes));
    }
    return *this;
}

Option& Option::range(double low, double high) {
    option_of(option_).check(NumberRange(low, high));
    entry_->range = text("%g to %g", low, high);
    return *this;
}

Option& Option::whole_range(int low, int high) {
    option_of(option_).check(CLI::Range(low, high));
    entry_->range = text("%d to %d", low, high);
    return *this;
}

Option& Option::whole_range(unsigned low, unsigned high) {
    option_of(option_).check(CLI::Range(low, high));
    entry_->range = text("%u to %u", low, high);
    return *this;
}

Option& Option::one_of(std::vector<std::string> names) {
    entry_->choices = names;
    option_of(option_).check(CLI::IsMember(std::move(names)));
    return *this;
}

Option& Option::suggests(std::vector<std::string> names) {
    entry_->choices = std::move(names);
    return *this;
}

Option& Option::takes(ValueKind kind) {
    entry_->kind = kind;
    return *this;
}

Option& Option::separated_by(char separator) {
    option_of(option_).delimiter(separator);
    entry_->separator = separator;
    return *this;
}

Option Command::enter(void* option) { return {option, entry_->options.emplace_back(entry_of(option_of(option)))}; }

template <typename T>
Option Command::option(const char* name, T& value, const char* help) {
    return enter(app_of(app_).add_option(name, value, help));
}

Option Command::option(const char* name, std::filesystem::path& value, const char* help) {
    // The parser's own conversion would take the text for one of the old code page on Windows.
    CLI::Option* const option = app_of(app_).add_option_function<std::string>(
        name, [&value](const std::string& text) { value = path_of(text); }, help);
    option->default_function([&value] { return value.string(); });
    return enter(option).takes(ValueKind::file);
}

Option Command::option(const char* name, std::vector<std::filesystem::path>& value, const char* help) {
    CLI::Option* const option = app_of(app_).add_option_function<std::vector<std::string>>(
        name,
        [&value](const std::vector<std::string>& texts) {
            value.clear();
            std::ranges::transform(texts, std::back_inserter(value), path_of);
        },
        help);
    return enter(option).takes(ValueKind::file);
}

Option Command::flag(const char* name, bool& value, const char* help) {
    return enter(app_of(app_).add_flag(name, value, help));
}

Option Command::flag(const char* names, std::optional<bool>& value, const char* help) {
    // By count: the library's own overload for an optional sets it to false where the flag is absent.
    return enter(app_of(app_).add_flag_function(
        names, [&value](int64_t count) { value = count > 0; }, help));
}

template Option Command::option(const char*, std::string&, const char*);
template Option Command::option(const char*, int&, const char*);
template Option Command::option(const char*, uint32_t&, const char*);
template Option Command::option(const char*, uint64_t&, const char*);
template Option Command::option(const char*, double&, const char*);
template Option Command::option(const char*, std::optional<int>&, const char*);
template Option Command::option(const char*, std::optional<double>&, const char*);
template Option Command::option(const char*, std::vector<int>&, const char*);
template Option Command::option(const char*, std::vector<double>&, const char*);
template Option Command::option(const char*, std::vector<std::string>&, const char*);

void Command::examples(const std::string& text) {
    app_of(app_).footer("Examples:\n" + text);
    constexpr std::string_view kIndent = "  ";
    std::string_view rest = text;
    while (rest.starts_with(kIndent)) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        entry_->examples.emplace_back(rest.substr(2, end - 2));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    rest.remove_prefix(std::min(rest.find_first_not_of('\n'), rest.size()));
    entry_->notes = rest;
}

void Command::run(std::function<int()> action) {
    app_of(app_).callback([action = std::move(action), status = status_] { *status = action(); });
}

Invocation Command::invocation() const {
    Invocation invocation{app_of(app_).get_name(), {}};
    for (const CLI::Option* const option : app_of(app_).get_options()) {
        const std::string name = option->get_name();
        if (option->count() == 0 || std::ranges::find(kWithoutEffect, name) != kWithoutEffect.end()) {
            continue;
        }
        std::string value;
        for (const std::string& word : option->results()) {
            value += (value.empty() ? "" : " ") + word.substr(word.rfind('/') + 1);
        }
        invocation.options.emplace_back(name, value);
    }
    return invocation;
}

struct CommandLine::Impl {
    explicit Impl(const char* description) : app(description, "cali") {}
    CLI::App app;
    CommandTable table;
    int status = 0;
};

CommandLine::CommandLine(const char* description, const char* version, const char* footer)
    : impl_(std::make_unique<Impl>(description)) {
    impl_->app.set_version_flag("--version", version);
    impl_->app.require_subcommand(0, 1);
    impl_->app.footer(footer);
    impl_->table = {impl_->app.get_name(), version, description, footer, {}, {}};
    for (const CLI::Option* const option : {impl_->app.get_help_ptr(), impl_->app.get_version_ptr()}) {
        impl_->table.options.push_back(entry_of(*option));
    }
}

CommandLine::~CommandLine() = default;

Command CommandLine::add(const char* name, const char* description) {
    CLI::App* const app = impl_->app.add_subcommand(name, description);
    CommandEntry& entry = impl_->table.commands.emplace_back();
    entry.name = name;
    entry.description = description;
    entry.options.push_back(entry_of(*app->get_help_ptr()));
    return {app, &impl_->status, entry};
}

const CommandTable& CommandLine::table() const { return impl_->table; }

int CommandLine::parse_and_run(std::vector<std::string> arguments) {
    std::ranges::reverse(arguments);  // as the parser takes them
    try {
        impl_->app.parse(std::move(arguments));
    } catch (const CLI::ParseError& problem) {
        if (problem.get_exit_code() != 0) {
            throw InputError(problem.what() + std::string(" (see --help)"));
        }
        return impl_->app.exit(problem);  // prints help or version
    }
    if (impl_->app.get_subcommands().empty()) {
        throw InputError("no command is given, expected one of those that --help lists");
    }
    return impl_->status;
}

void GeometryOptions::add_to(Command& command) {
    command.option("--session", session_, "session file that tells the geometry (docs/session.md)").type_name("FILE");
    command.option("--size", size_, "size of headerless raw files, such as 1920x1080; other forms tell theirs")
        .type_name("WxH");
    command
        .option("--pattern", pattern_, "colours of the top-left photosites: BGGR, GBRG, GRBG or RGGB; MONO: no mosaic")
        .suggests({"RGGB", "BGGR", "GRBG", "GBRG", "MONO"});
    command.option("--bits", bits_, "bit depth of the samples, 8 to 16, where the file does not tell it");
    command.option("--packing", packing_, "of headerless raw files: none, raw10, raw12 or raw14 (docs/captures.md)")
        .suggests({kPackingNames.begin(), kPackingNames.end()});
    command.option("--byte-order", byte_order_, "of headerless 16-bit words: little or big")
        .suggests({"little", "big"});
    command.option("--stride-bytes", stride_bytes_, "of headerless raw files: from one row to the next");
    command.option("--header-bytes", header_bytes_, "of headerless raw files: bytes before the first row");
    command.option("--gain", gain_, "analogue gain of the capture, 1 = ISO 100; default: what the file tells")
        .range(kLeastGain, kMostGain);
}

CaptureEntry GeometryOptions::entry(const std::filesystem::path& file) const {
    const std::optional<Session> told = session();
    return {{file}, {{}, told ? stated_gain(*told, file) : std::nullopt}, {}};
}

Capture GeometryOptions::capture(const std::filesystem::path& file) const {
    constexpr double kAny = 1;  // of a single frame nothing is left out
    return read_entry(entry(file), geometry(), kAny);
}

std::optional<Session> GeometryOptions::session() const {
    return session_.empty() ? std::nullopt : std::optional(read_session(session_));
}

Geometry GeometryOptions::geometry() const {
    const std::optional<Session> from_session = session();
    Geometry geometry = from_session ? from_session->geometry : Geometry{};
    if (!size_.empty()) {
        set_size(geometry, size_);
        geometry.source = "--size";
        geometry.size_by = Source::option;
    }
    if (!pattern_.empty()) {
        set_pattern(geometry, pattern_, "--pattern");
        geometry.pattern_by = Source::option;
    }
    if (bits_) {
        geometry.bits = check_number(*bits_, kMinBits, kMaxBits, "--bits");
        geometry.bits_by = Source::option;
    }
    RawLayout& layout = geometry.layout;
    if (!packing_.empty()) {
        layout.packing = parse_packing(packing_, "--packing");
    }
    if (!byte_order_.empty()) {
        layout.big_endian = parse_byte_order(byte_order_, "--byte-order");
    }
    if (stride_bytes_) {
        layout.stride_bytes = check_number(*stride_bytes_, 1, kMostLayoutBytes, "--stride-bytes");
    }
    if (header_bytes_) {
        layout.header_bytes = check_number(*header_bytes_, 0, kMostLayoutBytes, "--header-bytes");
    }
    geometry.gain = gain_;
    return geometry;
}

void OutputOptions::add_to(Command& command) {
    const Option verbose = command.flag("-v,--verbose", verbose_, "show what the library prints, on standard error");
    command.option("--log", log_, "collect what the library prints in a file").type_name("FILE").excludes(verbose);
}

LibraryOutput OutputOptions::output() const {
    if (verbose_) {
        return LibraryOutput::verbose();
    }
    return log_.empty() ? LibraryOutput() : LibraryOutput::to_file(log_);
}

void LightOption::add_to(Command& command, const char* help) {
    command.option("--illuminant", kelvin_, help).range(kLeastLightK, kMostLightK);
}

void add_shading_options(Command& command, ShadingFileChoice& choice) {
    command.flag("--registers", choice.registers, "also the tables as register text and CSV, beside the results");
    command.flag("--corrected", choice.corrected,
                 "also the flat field corrected by the mesh and by the radial tables, as 16-bit PGM");
}

}  // namespace cali::host
