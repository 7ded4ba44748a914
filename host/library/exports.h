/// The library's exports, one function each, with the program's types. All throw CalibrationError where the library
/// rejects the capture: it has then said why.
#pragma once

#include <array>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "cali/cali.h"
#include "captures/frame.h"
#include "chart/chart_windows.h"
#include "library/library_call.h"
#include "library/tuning_values.h"
#include "stages/register_text.h"

namespace cali::host::exports {

/// Where a call's messages point, and where its printed text goes.
struct Call {
    const std::filesystem::path& file;
    const LibraryOutput& output;
};

// Black level. Frames are unchanged.

/// False where a median is implausible; the levels are written all the same.
[[nodiscard]] bool blc_by_median(Capture& dark, BlackLevels& levels, const LibraryOutput& output);
[[nodiscard]] BlackLevels blc_by_mean(Capture& dark, const LibraryOutput& output);
[[nodiscard]] BlackLevels blc_by_mean_deviation(Capture& dark, const LibraryOutput& output);
/// blocks * blocks / 4 offsets, in visiting order.
[[nodiscard]] std::vector<Channels<uint32_t>> blc_by_blocks(Capture& dark, uint32_t blocks,
                                                            const LibraryOutput& output);
[[nodiscard]] Samples blc_verify(Capture& frame, const BlackLevels& black_level, const LibraryOutput& output);

// Lens shading.

struct LscRequest {
    int32_t cols = 0;
    int32_t rows = 0;
    int32_t type = 0;  ///< as cali_lsc_calc takes it
    bool denoise = false;
};
[[nodiscard]] ShadingTables lsc_calc(Capture& flat, const LscRequest& request, const BlackLevels& black_level,
                                     const LibraryOutput& output);

// White balance.

[[nodiscard]] GainRegisters awb_calc(Capture& grey, const BlackLevels& black_level, const ShadingGrids& grids,
                                     const Window& window, const LibraryOutput& output);
/// Uses up the frame's samples.
[[nodiscard]] Samples awb_verify(Capture& frame, const TuningValues& values, const LibraryOutput& output);

struct CurveLight {
    float ratio_a = 0;
    float ratio_b = 0;
    float temp_k = 0;
};
/// Every light counts once.
[[nodiscard]] AwbCurveRecord awb_build_curve(float norm_a, float norm_b, std::span<const CurveLight> lights,
                                             const Call& call);
/// 200 samples of the last curve, from unity gains.
[[nodiscard]] std::vector<float> awb_curve_table(const Call& call);

// Colour. Charts are unchanged.

/// The closed form's `lambda_scale` that makes rows sum to 1 exactly.
inline constexpr float kExactRowSums = 1.0F;

/// 0: the patch is left out.
using PatchWeights = std::array<float, kChartPatches>;
inline constexpr PatchWeights kEqualWeights = [] {
    PatchWeights ones{};
    ones.fill(1.0F);
    return ones;
}();

[[nodiscard]] MatrixRegisters ccm_pipe(Capture& chart, const TuningValues& values, const ChartWindows& windows,
                                       const PatchWeights& weights, const LibraryOutput& output);
/// The gains come from the chart.
[[nodiscard]] MatrixRegisters awb_ccm(Capture& chart, const TuningValues& values, const ChartWindows& windows,
                                      const PatchWeights& weights, GainRegisters& gains, const LibraryOutput& output);
struct OptimisedRequest {
    int white_point = 65;
    float saturation = 1;
};
/// The grids take part where `values` names their flat field; at most kMostOptimisedNodes either way.
inline constexpr int kMostOptimisedNodes = 37;
[[nodiscard]] MatrixRegisters ccm_pipe_optimised(Capture& chart, const TuningValues& values,
                                                 const ChartWindows& windows, const PatchWeights& weights,
                                                 const OptimisedRequest& request, const LibraryOutput& output);

/// A table in the rgb or the hsv domain.
[[nodiscard]] std::vector<int32_t> clut_calc(bool rgb, std::span<const ClutCell> measured,
                                             std::span<const ClutCell> target, const ClutSettings& settings,
                                             const Call& call);

// Noise.

/// Of one level's frames, all of the window's size: by position in the 2 x 2 cell.
struct CellStatistics {
    std::array<float, 4> mean{};
    std::array<float, 4> variance{};
};
[[nodiscard]] CellStatistics mean_and_variance(std::vector<Samples>& frames, int width, int height, const Call& call);

struct FittedLine {
    float slope = 0;
    float intercept = 0;
};
[[nodiscard]] FittedLine fit_line(std::span<const float> x, std::span<const float> y, const Call& call);

struct LineRegisters {
    int32_t slope = 0;
    int32_t level = 0;
};
struct LineFormat {
    int ref_level = 0;
    const std::string& slope;
    const std::string& level;
};
[[nodiscard]] LineRegisters line_registers(const FittedLine& line, const LineFormat& format, const Call& call);
[[nodiscard]] LineRegisters luma_registers(const Channels<FittedLine>& lines, const LineFormat& format,
                                           const Call& call);

}  // namespace cali::host::exports
