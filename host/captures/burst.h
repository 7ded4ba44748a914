/// Captures of a session: single files, and bursts whose frames are averaged.
#pragma once

#include <functional>

#include "captures/capture_entry.h"
#include "captures/frame.h"

namespace cali::host {

inline constexpr int kMostBurstFrames = 4096;

/// The mean of the entry's frames, taken at the files' depth and rounded once to the library's scale. A frame whose
/// mean differs from the median of the frames' means by more than that share is left out, and named in the capture.
/// Throws InputError for files that cannot be read, or are of several sensors or, by what they state, gains.
[[nodiscard]] Capture read_entry(const CaptureEntry& entry, const Geometry& geometry, double most_difference);

/// How a calibration comes by its captures: reads, tells who wants to know, and may refuse. Throws InputError.
using CaptureRead = std::function<Capture(const CaptureEntry&)>;

/// Throws InputError where the frame's file states another gain; `whose` is what is expected.
void require_same_gain(const Capture& frame, const std::optional<double>& expected, const std::string& whose);

}  // namespace cali::host
