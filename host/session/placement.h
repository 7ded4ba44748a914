/// A folder of captures, sorted into what a session calibrates.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "captures/capture_entry.h"
#include "captures/frame_series.h"
#include "captures/headers.h"

namespace cali::host {

struct Placement {
    SensorGeometry sensor;  ///< of all that are placed
    std::vector<CaptureEntry> dark;
    std::vector<CaptureEntry> flat;
    std::vector<CaptureEntry> grey;
    std::vector<CaptureEntry> chart;
    std::vector<SeriesLevel> series;
    /// What was told by looking at the picture, and as what; paths as in the entries.
    std::vector<std::pair<std::filesystem::path, std::string>> seen;
    /// What is in no list, and why.
    std::vector<std::pair<std::filesystem::path, std::string>> left_out;

    [[nodiscard]] std::size_t count() const;
};

/// By names first, where these say nothing by what the picture shows: a dark frame, a flat field, or a chart that is
/// found. Captures of one kind, light and gain are a burst, where the light is not known those of equal colour; dark
/// frames stay single. Where a capture is there in several forms, one of them is taken. Entries tell light and gain
/// where the files do not tell them themselves. `known` are other things than captures.
[[nodiscard]] Placement place_captures(const std::filesystem::path& folder, CaptureHeaders& headers,
                                       const std::vector<std::filesystem::path>& known);

}  // namespace cali::host
