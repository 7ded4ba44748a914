/// A session's captures taken through the whole chain, as `cali calibrate` does it for one or many.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "commands/run.h"
#include "outputs/chain_files.h"

namespace cali::host {

struct SessionRun {
    std::filesystem::path session;
    std::filesystem::path folder;  ///< of the outputs; empty: the session file's
    std::vector<std::string> only;
    std::filesystem::path report;
    ChainFileChoice files;
    int jobs = 1;
    RunOptions run;
    /// Told why the chain ended before its end, where wrong input ended it, and the results as their file will hold
    /// them; what it adds appears with the results.
    std::function<void(const std::optional<std::string>& stopped, const Results&, PendingFiles&)> beside = {};
};

struct SessionOutcome {
    int status = 0;
    std::optional<std::string> stopped;  ///< wrong input that ended the chain before its end
};

/// Throws InputError, CalibrationError, OutputError.
[[nodiscard]] SessionOutcome calibrate_session(const SessionRun& options, const Invocation& invocation);

/// Every file that a session names, itself among them.
[[nodiscard]] std::vector<std::filesystem::path> files_of(const Session& session);

}  // namespace cali::host
