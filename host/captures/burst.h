/// Captures of a session: single files, and bursts whose frames are averaged.
#pragma once

#include "captures/capture_entry.h"
#include "captures/frame.h"
#include "captures/frame_series.h"

namespace cali::host {

inline constexpr int kMostBurstFrames = 4096;

/// The mean of the entry's frames, taken at the files' depth and rounded once to the library's scale. A frame whose
/// mean differs from the median of the frames' means by more than that share is left out, and named in the capture.
/// Throws InputError for files that cannot be read, or are of several sensors or, by what they state, gains.
[[nodiscard]] Capture read_entry(const CaptureEntry& entry, const Geometry& geometry, double most_difference);

/// Light and gain of an entry, the gain from its first file where the entry does not tell; unknown where the file
/// cannot be read.
[[nodiscard]] Conditions conditions_of(const CaptureEntry& entry, const Geometry& geometry);

/// Levels of equal gain together.
[[nodiscard]] std::vector<std::pair<Conditions, std::vector<SeriesLevel>>> series_by_gain(
    const std::vector<SeriesLevel>& series, const Geometry& geometry);

/// Throws InputError where the frame's file states another gain; `whose` is what is expected.
void require_same_gain(const Capture& frame, const std::optional<double>& expected, const std::string& whose);

/// Nothing where the entry's first file cannot be read: who reads it says why.
[[nodiscard]] std::optional<Capture> try_probe(const CaptureEntry& entry, const Geometry& geometry);

}  // namespace cali::host
