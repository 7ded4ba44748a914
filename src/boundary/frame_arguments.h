/// Checks of frames and of what is laid over them, as the exports take them. Each shows one warning at most: see
/// ArgumentCheck.
#pragma once

#include <cstdint>
#include <optional>

#include "boundary/export_call.h"
#include "chart/chart_windows.h"
#include "core/frame.h"
#include "stages/mesh_shading.h"

namespace cali {

/// Neither side negative, and no more samples than a signed 32-bit integer counts.
void check_frame_size(ArgumentCheck& check, int64_t width, int64_t height);

/// That, and neither side above what the shading blocks' size fields hold.
void check_shaded_size(ArgumentCheck& check, int64_t width, int64_t height);

/// One of the four Bayer layouts.
void check_pattern(ArgumentCheck& check, int64_t pattern);

/// Node counts within the block's fields and its grid memory; `least` to a side.
void check_mesh_size(ArgumentCheck& check, int32_t cols, int32_t rows, int32_t least = kMinMeshSide);

/// Size, pattern and buffer. An empty frame's buffer is never read and may be null. Empty where rejected.
[[nodiscard]] RawFrame checked_frame(ArgumentCheck& check, const char* name, uint32_t** frame, int64_t width,
                                     int64_t height, int64_t pattern);

/// The same for a frame that goes through lens shading; with a mesh also its size and, unless the frame is empty, its
/// grids.
[[nodiscard]] RawFrame checked_shaded_frame(ArgumentCheck& check, const char* name, uint32_t** frame, int64_t width,
                                            int64_t height, int64_t pattern, const std::optional<MeshGrids>& mesh);

/// The caller's 24 windows, or the full frame's for a null pointer. Rejects what does not fit.
[[nodiscard]] ChartWindows checked_windows(ArgumentCheck& check, const RoiRect* given, int32_t width, int32_t height);

}  // namespace cali
