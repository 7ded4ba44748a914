/// What is to be done with a session's captures.
#pragma once

#include <array>
#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "captures/headers.h"
#include "results/results.h"
#include "session/session.h"

namespace cali::host {

/// Calibrations as `--only` names them, in the chain's order.
inline constexpr std::array<const char*, 6> kChainParts = {"blc", "lsc", "awb", "ccm", "clut", "noise"};

/// What of a session is to be done.
struct ChainPlan {
    std::set<std::string> parts;                                ///< of kChainParts
    std::vector<std::pair<std::string, std::string>> left_out;  ///< section of the results, and what is missing
    std::vector<BlackLevelResults> given;                       ///< black levels that are not measured
    std::vector<std::pair<Conditions, std::vector<CaptureEntry>>> dark;   ///< by gain
    std::vector<std::pair<Conditions, std::vector<SeriesLevel>>> series;  ///< likewise
    std::vector<CaptureEntry> lit;                                        ///< flat fields, grey cards and charts
    bool asked = false;  ///< for these parts alone: one that cannot be done is a failure

    /// All files that will be read, in order.
    [[nodiscard]] std::vector<std::filesystem::path> captures() const;
    [[nodiscard]] bool does(const char* part) const { return parts.count(part) != 0; }
};

/// Charts whose lights have no grey card: white balance comes from their greys. None with the joint method.
[[nodiscard]] std::vector<CaptureEntry> charts_for_balance(const Session& session);

/// What the session's captures are enough for, which may be nothing; `only`: nothing but those parts, all of which must
/// be possible. With them `earlier` may hold what is applied. `headers`: of the session's geometry. Throws InputError.
[[nodiscard]] ChainPlan plan_chain(const Session& session, const std::vector<std::string>& only, const Results& earlier,
                                   CaptureHeaders& headers);

/// The plan's captures and what is known of each before its samples are read: all are there, large enough, and hold the
/// windows that the session names. The chart's reference is sound. Throws InputError.
[[nodiscard]] std::vector<std::pair<std::filesystem::path, SensorGeometry>> check_captures(const Session& session,
                                                                                           const ChainPlan& plan,
                                                                                           CaptureHeaders& headers);

}  // namespace cali::host
