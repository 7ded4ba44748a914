#include "boundary/frame_arguments.h"

#include <algorithm>
#include <cinttypes>
#include <limits>

#include "core/channel.h"

namespace cali {
namespace {

RawFrame view_of(const ArgumentCheck& check, uint32_t** frame, int64_t width, int64_t height, int64_t pattern) {
    if (!check.ok()) {
        return {};
    }
    const bool empty = width == 0 || height == 0;
    return {empty ? nullptr : *frame, static_cast<int32_t>(width), static_cast<int32_t>(height),
            static_cast<int32_t>(pattern)};
}

}  // namespace

void check_frame_size(ArgumentCheck& check, int64_t width, int64_t height) {
    constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
    if (width < 0 || height < 0 || width > kMost || height > kMost || width * height > kMost) {
        check.reject("frame size %" PRId64 " x %" PRId64 ", expected sides of 0 or more and at most %" PRId64
                     " samples",
                     width, height, kMost);
    }
}

void check_shaded_size(ArgumentCheck& check, int64_t width, int64_t height) {
    check_frame_size(check, width, height);
    if (width > kMaxShadedSide || height > kMaxShadedSide) {
        check.reject("frame size %" PRId64 " x %" PRId64 ", lens shading takes at most %" PRId32 " either way", width,
                     height, kMaxShadedSide);
    }
}

void check_pattern(ArgumentCheck& check, int64_t pattern) { check.range("pattern", pattern, 0, kBayerPatterns - 1); }

void check_mesh_size(ArgumentCheck& check, int32_t cols, int32_t rows, int32_t least) {
    check.range("grid_cols", cols, least, kMaxMeshSide);
    check.range("grid_rows", rows, least, kMaxMeshSide);
    if (check.ok()) {
        check.range("grid_cols * grid_rows", int64_t{cols} * rows, 1, kMaxMeshNodes);
    }
}

RawFrame checked_frame(ArgumentCheck& check, const char* name, uint32_t** frame, int64_t width, int64_t height,
                       int64_t pattern) {
    check_frame_size(check, width, height);
    check_pattern(check, pattern);
    if (width != 0 && height != 0) {
        check.frame(name, frame);
    }
    return view_of(check, frame, width, height, pattern);
}

RawFrame checked_shaded_frame(ArgumentCheck& check, const char* name, uint32_t** frame, int64_t width, int64_t height,
                              int64_t pattern, const std::optional<MeshGrids>& mesh) {
    check_shaded_size(check, width, height);
    check_pattern(check, pattern);
    if (mesh) {
        check_mesh_size(check, mesh->cols, mesh->rows);
    }
    if (width != 0 && height != 0) {
        check.frame(name, frame);
        if (mesh) {
            check.pointer("red_grid", mesh->red);
            check.pointer("green_grid", mesh->green);
            check.pointer("blue_grid", mesh->blue);
        }
    }
    return view_of(check, frame, width, height, pattern);
}

ChartWindows checked_windows(ArgumentCheck& check, const RoiRect* given, int32_t width, int32_t height) {
    ChartWindows windows = windows_of_full_frame(width, height);
    if (given != nullptr) {
        std::copy_n(given, windows.size(), windows.begin());
    }
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const RoiRect& window = windows[i];
        if (!window_fits(window, width, height)) {
            check.reject("chart window %zu is %d x %d at (%d, %d), expected 2 x 2 or more inside the frame of %d x %d",
                         i + 1, window.w, window.h, window.x, window.y, width, height);
        }
    }
    return windows;
}

}  // namespace cali
