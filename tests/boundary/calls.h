/// The calls of every export that a test damages: those of support, and the rest.
#pragma once

#include <memory>

#include "support/chart_support.h"
#include "support/export_calls.h"

namespace cali::test {

/// One after the other, as the calls' states are compared.
template <typename... Ranges>
std::vector<unsigned char> bytes_of(const Ranges&... ranges) {
    std::vector<unsigned char> bytes;
    (append_bytes(bytes, std::span<const std::ranges::range_value_t<Ranges>>(ranges)), ...);
    return bytes;
}

struct CurveCall {
    std::array<float, 3> ratios{0.5F, 0.7F, 0.9F}, kelvins{2800, 4000, 6500};
    std::array<uint8_t, 3> weights{1, 2, 1};
    std::array<float, 200> samples{};
    AwbCurveRecord result{};
    uint8_t count = 3;
    const float *ratio_a = ratios.data(), *ratio_b = ratios.data(), *temp_k = kelvins.data(), *ref = ratios.data();
    const float* ref_b = ref;
    const uint8_t* weight = weights.data();
    AwbCurveRecord* record = &result;
    float* table = samples.data();

    int32_t build() { return cali_awb_BuildCurve(1, 1, ratio_a, ratio_b, temp_k, weight, count, record); }
    int32_t sample() { return cali_awb_getCurve(table, ref, ref_b); }
    [[nodiscard]] auto state() const { return bytes_of(samples, std::span(&result, 1)); }
};

struct RegionCall {
    std::vector<uint8_t> pixels = std::vector<uint8_t>(12 * 8 * 3, 90);
    std::array<RoiRect, 2> rects{{{0, 0, 4, 4}, {5, 2, 3, 3}}};
    std::array<RoiRgbMean, 32> first{}, second{}, third{};
    int32_t width = 12, roi_count = 2;
    uint32_t count = 24, mode = CALI_ROI_GREY_LIGHTNESS, total = 24;  // set before anything can fail
    GrayInterpSettings how{20, 4, 0.5F, 8};
    const uint8_t* image = pixels.data();
    const RoiRect* rois = rects.data();
    RoiRgbMean *measured = first.data(), *reference = second.data(), *adjusted = third.data();
    const GrayInterpSettings* settings = &how;
    uint32_t* out_count = &total;

    RegionCall() {
        for (std::size_t i = 0; i < 24; ++i) {
            first[i].b = first[i].g = first[i].r = 10.0 * static_cast<double>(i);
            second[i] = first[i];
        }
    }
    int32_t measure() { return cali_roi_rgb_cal(image, width, 8, measured, rois, roi_count); }
    int32_t adjust() { return cali_roi_rgb_adjust(measured, reference, adjusted, count, mode); }
    int32_t interpolate() { return cali_roi_rgb_interpolation(measured, reference, count, settings, out_count); }
    [[nodiscard]] auto state() const { return bytes_of(first, second, third, std::span(&total, 1)); }
};

struct ClutCall {
    std::vector<ClutCell> from{{0.2F, 0.3F, 0.4F, 1}, {0.8F, 0.3F, 0.4F, 1}}, to{{0.3F, 0.3F, 0.4F, 1}, from[1]};
    ClutSettings how{{5, 5, 5}, 1, 0.4F};
    std::vector<int32_t> nodes = std::vector<int32_t>(5 * 5 * 5 * 3, 7);
    const ClutCell *measured = from.data(), *target = to.data();
    const ClutSettings* settings = &how;
    int32_t cell_count = 2;
    int32_t* table = nodes.data();

    int32_t hsv() { return cali_clut_calc(measured, target, cell_count, settings, table); }
    int32_t rgb() { return cali_clut_calc_rgb(measured, target, cell_count, settings, table); }
    [[nodiscard]] auto state() const { return bytes_of(nodes); }
};

/// The first generation on the same small chart, and on patches that are cut out.
struct MatrixCall : ChartCall {
    std::vector<int32_t> pixels = std::vector<int32_t>(24 * 3);
    std::array<const int32_t*, 24> patches{};
    const int32_t* const* patches_in = patches.data();
    int32_t patch_count = 24, channels = 3;
    uint32_t patch_w = 1;

    MatrixCall() : ChartCall(small_chart()) {
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            pixels[i] = static_cast<int32_t>(i * i * 977 % 4096);
            patches[i / 3] = &pixels[i / 3 * 3];
        }
    }
    int32_t of_patches() {
        return cali_ccm_calc(patches_in, nullptr, patch_count, patch_w, 1, channels, 1, weights, ccm_out, q10_out);
    }
    int32_t of_frame() {
        const CcmLensShading& grids = shading[0];
        return cali_isp_ccm_pipe_calc(frame_pointer, width, height, pattern, grids.grid_cols, grids.grid_rows,
                                      grids.red_grid, grids.green_grid, grids.blue_grid, 64, 64, 64, 64, 1, 1, 1, 1,
                                      1800, 1024, 1500, windows.data(), 1, weights, ccm_out, q10_out);
    }
};

/// Three levels of two frames.
struct NoiseCall {
    std::array<OwnedFrame, 6> frames;
    std::array<uint32_t*, 6> pointers{};
    std::array<Level, 3> levels{};
    int releases = 0;
    LevelList list{levels.data(), 3, [](LevelList* taken) { ++static_cast<NoiseCall*>(taken->owner)->releases; }, this};
    uint32_t width = 8, height = 6, points = 3;
    int32_t count = 3, nch = 4, nframes = 2, pattern = 2, deviation_frames = 6;
    std::array<float, 24> values{};
    std::array<float*, 4> means{}, spreads{};
    std::array<uint32_t, 48> bits{};
    std::array<uint32_t*, 8> bits_out{};
    std::array<int32_t, 8> registers{};
    std::array<int32_t*, 8> registers_out{};
    std::array<float, 48> deviations{};
    const LevelList* levels_in = &list;
    float **means_out = means.data(), **spreads_out = spreads.data(), *deviation_out = deviations.data();
    const float *x = values.data(), *y = values.data();
    const char *formats = "U4.8, U8.0", *slope_format = "U4.8", *level_format = "U8.0", *new_slope_format = "U4.9",
               *new_level_format = "U9.0";
    uint32_t **frame_a = &pointers[0], **frame_b = &pointers[1], **all_frames = pointers.data();
    uint32_t* difference = bits.data();
    uint32_t** output = &difference;

    NoiseCall() {
        Random random(104);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            frames[i] = random_frame(random, 8, 6, 2);
            pointers[i] = frames[i].samples.data();
            levels[i / 2] = {&pointers[i & ~std::size_t{1}], 2};
        }
        for (std::size_t i = 0; i < 8; ++i) {
            (i < 4 ? means[i] : spreads[i - 4]) = &values[3 * i];
            bits_out[i] = &bits[i];
            registers_out[i] = &registers[i];
        }
    }
    NoiseCall(const NoiseCall&) = delete;
    NoiseCall& operator=(const NoiseCall&) = delete;

    int32_t deviation_of_levels() {
        return cali_isp_roi_mean_std_calc(list, width, height, count, nch, nframes, means_out, spreads_out);
    }
    int32_t variance_of_levels() {
        return cali_isp_roi_mean_var_calc(list, width, height, count, nch, nframes, means_out, spreads_out);
    }
    int32_t line() { return cali_isp_np_lr_calc(x, y, points, bits_out[0], bits_out[1]); }
    int32_t deviation_profile() { return profile(cali_isp_np_float_calc); }
    int32_t variance_profile() { return profile(cali_isp_np_float_calc_ainr); }
    int32_t fixed_profile() {
        const auto& out = registers_out;
        return cali_isp_np_fix_calc(levels_in, width, height, count, nframes, pattern, 9, 9, 9, 64, formats, out[0],
                                    out[1], out[2], out[3], out[4], out[5], out[6], out[7]);
    }
    int32_t to_fixed() {
        return cali_isp_np_float_to_fix_calc(1, 1, 1, registers_out[0], registers_out[1], 0, 4, 8, 0, 8, 0);
    }
    int32_t to_fixed_by_text() {
        return cali_isp_np_float_to_fix_calc_v2(1, 1, 1, registers_out[0], registers_out[1], slope_format,
                                                level_format);
    }
    int32_t move() {
        return cali_isp_np_fix_to_fix_calc(1, 1, slope_format, level_format, new_slope_format, new_level_format,
                                           registers_out[0], registers_out[1]);
    }
    int32_t luma() {
        return cali_isp_ynr_np_fix_calc(x, y, 9, slope_format, level_format, registers_out[0], registers_out[1]);
    }
    int32_t subtract() { return cali_isp_diff_img_calc(frame_a, frame_b, width, height, output); }
    int32_t deviation() { return cali_isp_std_img_calc(all_frames, deviation_frames, width, height, deviation_out); }

    [[nodiscard]] auto state() const {
        return bytes_of(frames[0].samples, frames[1].samples, frames[4].samples, values, bits, registers, deviations);
    }

private:
    int32_t profile(decltype(&cali_isp_np_float_calc) calculate) {
        const auto& out = bits_out;
        return calculate(levels_in, width, height, count, nframes, pattern, 9, 9, 9, 0, out[0], out[1], out[2], out[3],
                         out[4], out[5], out[6], out[7]);
    }
};

/// A sound call, whose light is neither too bright nor too dark.
template <typename Call>
std::unique_ptr<Call> make() {
    Random random(40);
    if constexpr (std::is_same_v<Call, AwbCall>) {
        return std::make_unique<Call>(random_frame(random, 16, 12, 2, 1500), plausible_grids(random, 6, 5));
    } else if constexpr (std::is_same_v<Call, BlcCall>) {
        return std::make_unique<Call>(random_frame(random, 16, 12, 2, 1500), 4);
    } else if constexpr (std::is_same_v<Call, LscCall>) {
        return std::make_unique<Call>(random_frame(random, 16, 12, 2, 1500), 6, 5);
    } else if constexpr (std::is_same_v<Call, ChartCall>) {
        return std::make_unique<Call>(small_chart());
    } else {
        return std::make_unique<Call>();
    }
}

}  // namespace cali::test
