/// Many units of one camera, each calibrated as a session of its own.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "commands/calibrate_session.h"

namespace cali::host {

struct UnitsRun {
    std::vector<std::filesystem::path> units;  ///< session files, or folders with a session.toml
    std::filesystem::path folder;              ///< of a folder for each unit
    std::string shard;                         ///< "2/8": the second of eight parts; empty: all
    int jobs = 1;                              ///< units side by side
    SessionRun session;                        ///< as each is run
};

/// A file of names, one to a line, that lie beside it; blank lines and those that begin with # are passed over.
/// `what` for messages. Throws InputError.
[[nodiscard]] std::vector<std::filesystem::path> read_list(const std::filesystem::path& list, const std::string& what);

/// Returns the exit status. Throws InputError.
[[nodiscard]] int calibrate_units(const UnitsRun& run, const Invocation& invocation);

/// Summary and list of all units that stand in the folder. Returns the exit status. Throws InputError.
[[nodiscard]] int summarise_units(const std::filesystem::path& folder, bool strict);

}  // namespace cali::host
