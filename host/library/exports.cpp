#include "library/exports.h"

#include <algorithm>
#include <bit>
#include <memory>

#include "base/error.h"

namespace cali::host::exports {
namespace {

/// Runs an export; a status below 0 is a rejection.
template <typename Export>
int run(const char* name, const Call& call, Export&& invoke) {
    const int status = call.output.call(name, invoke);
    if (status < 0) {
        throw CalibrationError(call.file.filename().string() + ": " + name +
                               " rejected the capture (its reason stands above)");
    }
    return status;
}

/// A frame as most exports take it.
struct FrameArguments {
    explicit FrameArguments(Capture& capture)
        : samples(capture.samples.data()),
          width(capture.sensor.width),
          height(capture.sensor.height),
          pattern(capture.sensor.pattern) {}

    [[nodiscard]] uint32_t unsigned_width() const { return static_cast<uint32_t>(width); }
    [[nodiscard]] uint32_t unsigned_height() const { return static_cast<uint32_t>(height); }

    uint32_t* samples;
    int32_t width;
    int32_t height;
    int32_t pattern;
};

}  // namespace

bool blc_by_median(Capture& dark, BlackLevels& levels, const LibraryOutput& output) {
    FrameArguments f(dark);
    auto& offset = levels.offset;
    auto& gain = levels.gain;
    return run("cali_blc_calc_by_median", {dark.file, output}, [&] {
               return cali_blc_calc_by_median(&f.samples, f.unsigned_width(), f.unsigned_height(), f.pattern,
                                              &offset[kRR], &offset[kGR], &offset[kGB], &offset[kBB], &gain[kRR],
                                              &gain[kGR], &gain[kGB], &gain[kBB]);
           }) == 0;
}

BlackLevels blc_by_mean(Capture& dark, const LibraryOutput& output) {
    FrameArguments f(dark);
    BlackLevels levels;
    auto& offset = levels.offset;
    auto& gain = levels.gain;
    run("cali_blc_calc_by_mean", {dark.file, output}, [&] {
        return cali_blc_calc_by_mean(&f.samples, f.unsigned_width(), f.unsigned_height(), f.pattern, &offset[kRR],
                                     &offset[kGR], &offset[kGB], &offset[kBB], &gain[kRR], &gain[kGR], &gain[kGB],
                                     &gain[kBB]);
    });
    return levels;
}

BlackLevels blc_by_mean_deviation(Capture& dark, const LibraryOutput& output) {
    FrameArguments f(dark);
    BlackLevels levels;
    auto& offset = levels.offset;
    auto& gain = levels.gain;
    run("cali_blc_calc", {dark.file, output}, [&] {
        return cali_blc_calc(&f.samples, f.width, f.height, f.pattern, &offset[kRR], &offset[kGR], &offset[kGB],
                             &offset[kBB], &gain[kRR], &gain[kGR], &gain[kGB], &gain[kBB], 1);
    });
    return levels;
}

std::vector<Channels<uint32_t>> blc_by_blocks(Capture& dark, uint32_t blocks, const LibraryOutput& output) {
    FrameArguments f(dark);
    const std::size_t entries = std::size_t{blocks} * blocks / 4;
    Channels<std::vector<uint32_t>> planes;
    planes.fill(std::vector<uint32_t>(entries));
    run("cali_blc_calc_by_localblc", {dark.file, output}, [&] {
        return cali_blc_calc_by_localblc(&f.samples, f.width, f.height, f.pattern, planes[kRR].data(),
                                         planes[kGR].data(), planes[kGB].data(), planes[kBB].data(), nullptr, nullptr,
                                         nullptr, nullptr, blocks);
    });
    std::vector<Channels<uint32_t>> result;
    for (std::size_t i = 0; i < entries; ++i) {
        result.push_back({planes[kRR][i], planes[kGR][i], planes[kGB][i], planes[kBB][i]});
    }
    return result;
}

Samples blc_verify(Capture& frame, const BlackLevels& black_level, const LibraryOutput& output) {
    FrameArguments f(frame);
    const auto& offset = black_level.offset;
    const auto& gain = black_level.gain;
    Samples corrected(frame.samples.size());
    uint32_t* out = corrected.data();
    run("cali_blc_verify", {frame.file, output}, [&] {
        return cali_blc_verify(&f.samples, f.unsigned_width(), f.unsigned_height(), static_cast<uint32_t>(f.pattern),
                               offset[kRR], offset[kGR], offset[kGB], offset[kBB], gain[kRR], gain[kGR], gain[kGB],
                               gain[kBB], &out);
    });
    return corrected;
}

ShadingTables lsc_calc(Capture& flat, const LscRequest& request, const BlackLevels& black_level,
                       const LibraryOutput& output) {
    FrameArguments f(flat);
    ShadingTables tables;
    tables.width = f.width;
    tables.height = f.height;
    tables.cols = request.cols;
    tables.rows = request.rows;
    tables.mesh.fill(
        std::vector<int32_t>(static_cast<std::size_t>(request.cols) * static_cast<std::size_t>(request.rows)));
    const auto black = [&](ChannelIndex channel) { return static_cast<int32_t>(black_level.offset[channel]); };
    run("cali_lsc_calc", {flat.file, output}, [&] {
        return cali_lsc_calc(&f.samples, f.width, f.height, f.pattern, request.cols, request.rows, request.type,
                             request.denoise ? 1 : 0, black(kRR), black(kGR), black(kGB), black(kBB), &tables.center_x,
                             &tables.center_y, nullptr, &tables.norm, tables.mesh[0].data(), tables.mesh[1].data(),
                             tables.mesh[2].data(), tables.radial.data());
    });
    return tables;
}

GainRegisters awb_calc(Capture& grey, const BlackLevels& black_level, const ShadingGrids& grids, const Window& window,
                       const LibraryOutput& output) {
    FrameArguments f(grey);
    const auto& offset = black_level.offset;
    const auto& gain = black_level.gain;
    GainRegisters gains;
    cali_awb_setROI(window.x, window.y, window.width, window.height);
    run("cali_awb_calc", {grey.file, output}, [&] {
        return cali_awb_calc(&f.samples, f.width, f.unsigned_height(), f.pattern, grids.cols, grids.rows,
                             grids.red.data(), grids.green.data(), grids.blue.data(), offset[kRR], offset[kGR],
                             offset[kGB], offset[kBB], gain[kRR], gain[kGR], gain[kGB], gain[kBB], &gains.red,
                             &gains.green, &gains.blue);
    });
    return gains;
}

Samples awb_verify(Capture& frame, const TuningValues& values, const LibraryOutput& output) {
    FrameArguments f(frame);
    const auto& offset = values.black_level.offset;
    const auto& gain = values.black_level.gain;
    const ShadingGrids& grids = values.grids;
    Samples corrected(frame.samples.size());
    uint32_t* out = corrected.data();
    run("cali_awb_verify", {frame.file, output}, [&] {
        return cali_awb_verify(&f.samples, f.width, f.unsigned_height(), f.pattern, grids.cols, grids.rows,
                               grids.red.data(), grids.green.data(), grids.blue.data(), offset[kRR], offset[kGR],
                               offset[kGB], offset[kBB], gain[kRR], gain[kGR], gain[kGB], gain[kBB], values.gains.red,
                               values.gains.green, values.gains.blue, &out);
    });
    return corrected;
}

AwbCurveRecord awb_build_curve(float norm_a, float norm_b, std::span<const CurveLight> lights, const Call& call) {
    std::vector<float> ratio_a;
    std::vector<float> ratio_b;
    std::vector<float> temp_k;
    for (const CurveLight& light : lights) {
        ratio_a.push_back(light.ratio_a);
        ratio_b.push_back(light.ratio_b);
        temp_k.push_back(light.temp_k);
    }
    const std::vector<uint8_t> weight(lights.size(), 1);
    AwbCurveRecord record{};
    run("cali_awb_BuildCurve", call, [&] {
        return cali_awb_BuildCurve(norm_a, norm_b, ratio_a.data(), ratio_b.data(), temp_k.data(), weight.data(),
                                   static_cast<uint8_t>(lights.size()), &record);
    });
    return record;
}

std::vector<float> awb_curve_table(const Call& call) {
    constexpr std::size_t kTableSize = 200;
    std::vector<float> table(kTableSize);
    const std::array<float, 2> unity = {0, 1024};
    run("cali_awb_getCurve", call, [&] { return cali_awb_getCurve(table.data(), unity.data(), unity.data()); });
    return table;
}

MatrixRegisters ccm_pipe(Capture& chart, const TuningValues& values, const ChartWindows& windows,
                         const PatchWeights& weights, const LibraryOutput& output) {
    FrameArguments f(chart);
    const auto& offset = values.black_level.offset;
    const auto& gain = values.black_level.gain;
    const ShadingGrids& grids = values.grids;
    MatrixRegisters matrix;
    run("cali_isp_ccm_pipe_calc", {chart.file, output}, [&] {
        return cali_isp_ccm_pipe_calc(&f.samples, f.width, f.height, f.pattern, grids.cols, grids.rows,
                                      grids.red.data(), grids.green.data(), grids.blue.data(), offset[kRR], offset[kGR],
                                      offset[kGB], offset[kBB], gain[kRR], gain[kGR], gain[kGB], gain[kBB],
                                      values.gains.red, values.gains.green, values.gains.blue, windows.data(),
                                      kExactRowSums, weights.data(), matrix.value.data(), matrix.q10.data());
    });
    return matrix;
}

MatrixRegisters awb_ccm(Capture& chart, const TuningValues& values, const ChartWindows& windows,
                        const PatchWeights& weights, GainRegisters& gains, const LibraryOutput& output) {
    FrameArguments f(chart);
    const auto& offset = values.black_level.offset;
    const auto& gain = values.black_level.gain;
    const ShadingGrids& grids = values.grids;
    MatrixRegisters matrix;
    run("cali_isp_awb_ccm", {chart.file, output}, [&] {
        return cali_isp_awb_ccm(&f.samples, f.width, f.height, f.pattern, grids.cols, grids.rows, grids.red.data(),
                                grids.green.data(), grids.blue.data(), offset[kRR], offset[kGR], offset[kGB],
                                offset[kBB], gain[kRR], gain[kGR], gain[kGB], gain[kBB], windows.data(), kExactRowSums,
                                weights.data(), &gains.red, &gains.green, &gains.blue, matrix.value.data(),
                                matrix.q10.data());
    });
    return matrix;
}

MatrixRegisters ccm_pipe_optimised(Capture& chart, const TuningValues& values, const ChartWindows& windows,
                                   const PatchWeights& weights, const OptimisedRequest& request,
                                   const LibraryOutput& output) {
    CcmPreprocess preprocess{};
    for (std::size_t c = 0; c < values.black_level.offset.size(); ++c) {
        preprocess.offset[c] = static_cast<int32_t>(values.black_level.offset[c]);
        preprocess.gain[c] = values.black_level.gain[c];
    }
    const auto shading = std::make_unique<CcmLensShading>();  // large
    if (!values.flat_field.empty()) {
        shading->mode = 1;
        shading->grid_cols = values.grids.cols;
        shading->grid_rows = values.grids.rows;
        std::ranges::copy(values.grids.red, shading->red_grid);
        std::ranges::copy(values.grids.green, shading->green_grid);
        std::ranges::copy(values.grids.blue, shading->blue_grid);
    }
    std::array<float, 1 + kChartPatches> saturation_and_weights{};
    saturation_and_weights[0] = request.saturation;
    std::ranges::copy(weights, saturation_and_weights.begin() + 1);
    FrameArguments f(chart);
    MatrixRegisters matrix;
    run("cali_isp_ccm_pipe_calc_v2", {chart.file, output}, [&] {
        return cali_isp_ccm_pipe_calc_v2(f.samples, 0, windows.data(), nullptr, f.width, f.height, f.pattern,
                                         &preprocess, shading.get(), values.gains.red, values.gains.blue,
                                         saturation_and_weights.data(), 0, matrix.value.data(), matrix.q10.data(),
                                         request.white_point, 0);
    });
    return matrix;
}

std::vector<int32_t> clut_calc(bool rgb, std::span<const ClutCell> measured, std::span<const ClutCell> target,
                               const ClutSettings& settings, const Call& call) {
    std::size_t size = 3;
    for (const int32_t nodes : settings.nodes) {
        size *= static_cast<std::size_t>(nodes);
    }
    std::vector<int32_t> table(size);
    run(rgb ? "cali_clut_calc_rgb" : "cali_clut_calc", call, [&] {
        return (rgb ? cali_clut_calc_rgb : cali_clut_calc)(
            measured.data(), target.data(), static_cast<int32_t>(measured.size()), &settings, table.data());
    });
    return table;
}

CellStatistics mean_and_variance(std::vector<Samples>& frames, int width, int height, const Call& call) {
    std::vector<uint32_t*> pointers;
    pointers.reserve(frames.size());
    std::ranges::transform(frames, std::back_inserter(pointers), [](auto& frame) { return frame.data(); });
    const LevelListOwner owner({pointers});
    CellStatistics result;
    std::array<float*, 4> means{};
    std::array<float*, 4> variances{};
    for (std::size_t position = 0; position < means.size(); ++position) {
        means[position] = &result.mean[position];
        variances[position] = &result.variance[position];
    }
    run("cali_isp_roi_mean_var_calc", call, [&] {
        return cali_isp_roi_mean_var_calc(owner.copy(), static_cast<uint32_t>(width), static_cast<uint32_t>(height), 1,
                                          4, static_cast<int32_t>(frames.size()), means.data(), variances.data());
    });
    return result;
}

FittedLine fit_line(std::span<const float> x, std::span<const float> y, const Call& call) {
    uint32_t slope = 0;
    uint32_t intercept = 0;
    run("cali_isp_np_lr_calc", call,
        [&] { return cali_isp_np_lr_calc(x.data(), y.data(), static_cast<uint32_t>(x.size()), &slope, &intercept); });
    return {std::bit_cast<float>(slope), std::bit_cast<float>(intercept)};
}

LineRegisters line_registers(const FittedLine& line, const LineFormat& format, const Call& call) {
    LineRegisters registers;
    run("cali_isp_np_float_to_fix_calc_v2", call, [&] {
        return cali_isp_np_float_to_fix_calc_v2(line.slope, line.intercept, format.ref_level, &registers.slope,
                                                &registers.level, format.slope.c_str(), format.level.c_str());
    });
    return registers;
}

LineRegisters luma_registers(const Channels<FittedLine>& lines, const LineFormat& format, const Call& call) {
    std::array<float, 4> slopes{};
    std::array<float, 4> intercepts{};
    for (std::size_t c = 0; c < lines.size(); ++c) {
        slopes[kBB - c] = lines[c].slope;  // blue first
        intercepts[kBB - c] = lines[c].intercept;
    }
    LineRegisters registers;
    run("cali_isp_ynr_np_fix_calc", call, [&] {
        return cali_isp_ynr_np_fix_calc(slopes.data(), intercepts.data(), format.ref_level, format.slope.c_str(),
                                        format.level.c_str(), &registers.slope, &registers.level);
    });
    return registers;
}

}  // namespace cali::host::exports
