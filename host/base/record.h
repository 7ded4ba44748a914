/// What a section of results was made of.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace cali::host {

/// A file as it was when it was read.
struct InputRecord {
    std::filesystem::path file;
    uint64_t bytes = 0;
    std::string digest;
};

/// A value that was applied: a section of the same results, or what was given in its place.
struct ValueRecord {
    std::string section;  ///< "black_level"
    std::string entry;    ///< light or capture, where the section has several
    std::string digest;
    std::string given;  ///< the option or file that it came from instead of the results themselves; else empty
};

/// Who says how captures are to be taken, the strongest first.
enum class Source { option, session, measured, results, metadata };

/// "option", "session", "measured", "results", "metadata".
inline constexpr std::array<const char*, 5> kSourceNames = {"option", "session", "measured", "results", "metadata"};

/// Something in force, for people: {"black level", "64.25", metadata}.
struct Setting {
    std::string name;
    std::string value;
    Source source = Source::metadata;
};

/// Whether the checks let a section's values be applied.
enum class Standing {
    passed,
    rejected,  ///< kept for its figures alone
    forced     ///< by the user, against the checks
};

/// Names and texts of the options that were given, in order.
using OptionRecord = std::vector<std::pair<std::string, std::string>>;

struct Record {
    Standing standing = Standing::passed;
    std::string command;
    OptionRecord options;
    std::vector<InputRecord> inputs;
    std::vector<ValueRecord> values;
    std::vector<Setting> in_force;     ///< size, pattern, depth, black level and so on of the first capture
    bool mono = false;                 ///< of a sensor with one channel: figures are shown once
    Source source = Source::measured;  ///< of the values: in this run, unless said otherwise. Not kept
    /// Of values that come from an option or another file than the run's own results: its name. Not kept.
    std::string given;

    /// Whether later steps and files may use the values.
    [[nodiscard]] bool usable() const { return standing != Standing::rejected; }
};

}  // namespace cali::host
