#include "calibrations/black_level.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "stages/black_level.h"

namespace cali::host {
namespace {

constexpr int kLargestWindow = 256;
constexpr int kMaxShadedSide = 8192;

int even_below(int value) { return value & ~1; }

}  // namespace

void require_accepted(int status, const char* name, const std::filesystem::path& file) {
    if (status < 0) {
        throw CalibrationError(file.string() + ": " + name + " rejected the capture (its reason stands above)");
    }
}

void require_shadeable(const Capture& frame) {
    if (frame.width > kMaxShadedSide || frame.height > kMaxShadedSide) {
        throw InputError(frame.file.string() + ": " + std::to_string(frame.width) + " x " +
                         std::to_string(frame.height) + " samples, expected at most 8192 either way");
    }
}

DarkFrameLevels measure_dark_frame(Capture& dark, uint32_t blocks, const LibraryOutput& output) {
    DarkFrameLevels result;
    result.file = dark.file;
    uint32_t* frame = dark.samples.data();
    const auto width = static_cast<uint32_t>(dark.width);
    const auto height = static_cast<uint32_t>(dark.height);

    BlackLevels& median = result.by_method[static_cast<std::size_t>(BlackLevelMethod::median)];
    const int in_bounds = output.call("cali_blc_calc_by_median", [&] {
        return cali_blc_calc_by_median(&frame, width, height, dark.pattern, &median.offset[kRR], &median.offset[kGR],
                                       &median.offset[kGB], &median.offset[kBB], &median.gain[kRR], &median.gain[kGR],
                                       &median.gain[kGB], &median.gain[kBB]);
    });
    require_accepted(in_bounds, "cali_blc_calc_by_median", dark.file);
    result.median_in_bounds = in_bounds == 0;

    BlackLevels& mean = result.by_method[static_cast<std::size_t>(BlackLevelMethod::mean)];
    require_accepted(output.call("cali_blc_calc_by_mean",
                                 [&] {
                                     return cali_blc_calc_by_mean(&frame, width, height, dark.pattern,
                                                                  &mean.offset[kRR], &mean.offset[kGR],
                                                                  &mean.offset[kGB], &mean.offset[kBB], &mean.gain[kRR],
                                                                  &mean.gain[kGR], &mean.gain[kGB], &mean.gain[kBB]);
                                 }),
                     "cali_blc_calc_by_mean", dark.file);

    BlackLevels& deviation = result.by_method[static_cast<std::size_t>(BlackLevelMethod::mean_deviation)];
    require_accepted(output.call("cali_blc_calc",
                                 [&] {
                                     return cali_blc_calc(&frame, dark.width, dark.height, dark.pattern,
                                                          &deviation.offset[kRR], &deviation.offset[kGR],
                                                          &deviation.offset[kGB], &deviation.offset[kBB],
                                                          &deviation.gain[kRR], &deviation.gain[kGR],
                                                          &deviation.gain[kGB], &deviation.gain[kBB], 1);
                                 }),
                     "cali_blc_calc", dark.file);

    if (blocks > 0) {
        const std::size_t entries = std::size_t{blocks} * blocks / 4;
        Channels<std::vector<uint32_t>> planes;
        planes.fill(std::vector<uint32_t>(entries));
        require_accepted(output.call("cali_blc_calc_by_localblc",
                                     [&] {
                                         return cali_blc_calc_by_localblc(&frame, dark.width, dark.height, dark.pattern,
                                                                          planes[kRR].data(), planes[kGR].data(),
                                                                          planes[kGB].data(), planes[kBB].data(),
                                                                          nullptr, nullptr, nullptr, nullptr, blocks);
                                     }),
                         "cali_blc_calc_by_localblc", dark.file);
        for (std::size_t i = 0; i < entries; ++i) {
            result.blocks.push_back({planes[kRR][i], planes[kGR][i], planes[kGB][i], planes[kBB][i]});
        }
    }
    return result;
}

BlackLevels combine(const std::vector<DarkFrameLevels>& frames, BlackLevelMethod method) {
    BlackLevels combined;
    for (std::size_t c = 0; c < combined.offset.size(); ++c) {
        double sum = 0;
        for (const DarkFrameLevels& frame : frames) {
            sum += frame.by_method[static_cast<std::size_t>(method)].offset[c];
        }
        combined.offset[c] = static_cast<uint32_t>(std::lround(sum / static_cast<double>(frames.size())));
        combined.gain[c] = restoring_gain(static_cast<int32_t>(combined.offset[c]));
    }
    return combined;
}

Window default_window(int width, int height) {
    if (width < 4 || height < 4) {
        throw InputError("a frame of " + std::to_string(width) + " x " + std::to_string(height) +
                         " has no room for a measuring window, expected 4 x 4 or more");
    }
    Window window;
    window.width = std::min(kLargestWindow, even_below(width - 2));
    window.height = std::min(kLargestWindow, even_below(height - 2));
    window.x = even_below((width - window.width) / 2);
    window.y = even_below((height - window.height) / 2);
    return window;
}

WhiteBalance measure_grey_card(Capture& grey, const BlackLevels& black_level, const ShadingGrids& grids,
                               const Window& window, const LibraryOutput& output) {
    require_shadeable(grey);
    if (window.width < 2 || window.height < 2 || window.x + window.width >= grey.width ||
        window.y + window.height >= grey.height) {
        throw InputError(grey.file.string() + ": the window [" + std::to_string(window.x) + ", " +
                         std::to_string(window.y) + ", " + std::to_string(window.width) + ", " +
                         std::to_string(window.height) +
                         "] does not fit, expected 2 x 2 or more that end before column " +
                         std::to_string(grey.width - 1) + " and row " + std::to_string(grey.height - 1));
    }
    WhiteBalance result;
    result.file = grey.file;
    result.window = {even_below(window.x), even_below(window.y), even_below(window.width), even_below(window.height)};
    cali_awb_setROI(window.x, window.y, window.width, window.height);
    uint32_t* frame = grey.samples.data();
    const int status = output.call("cali_awb_calc", [&] {
        return cali_awb_calc(&frame, grey.width, static_cast<uint32_t>(grey.height), grey.pattern, grids.cols,
                             grids.rows, grids.red.data(), grids.green.data(), grids.blue.data(),
                             black_level.offset[kRR], black_level.offset[kGR], black_level.offset[kGB],
                             black_level.offset[kBB], black_level.gain[kRR], black_level.gain[kGR],
                             black_level.gain[kGB], black_level.gain[kBB], &result.red, &result.green, &result.blue);
    });
    require_accepted(status, "cali_awb_calc", grey.file);
    if (result.red == 0 || result.blue == 0) {
        throw CalibrationError(grey.file.string() +
                               ": red or blue has no signal above black in the window, expected a lit grey target");
    }
    return result;
}

std::vector<uint32_t> apply_black_level(Capture& frame, const BlackLevels& black_level, const LibraryOutput& output) {
    std::vector<uint32_t> corrected(frame.samples.size());
    uint32_t* in = frame.samples.data();
    uint32_t* out = corrected.data();
    const int status = output.call("cali_blc_verify", [&] {
        return cali_blc_verify(&in, static_cast<uint32_t>(frame.width), static_cast<uint32_t>(frame.height),
                               static_cast<uint32_t>(frame.pattern), black_level.offset[kRR], black_level.offset[kGR],
                               black_level.offset[kGB], black_level.offset[kBB], black_level.gain[kRR],
                               black_level.gain[kGR], black_level.gain[kGB], black_level.gain[kBB], &out);
    });
    require_accepted(status, "cali_blc_verify", frame.file);
    return corrected;
}

std::vector<uint32_t> apply_front_end(Capture& frame, const BlackLevels& black_level, const ShadingGrids& grids,
                                      const WhiteBalance& white_balance, const LibraryOutput& output) {
    require_shadeable(frame);
    std::vector<uint32_t> corrected(frame.samples.size());
    uint32_t* in = frame.samples.data();
    uint32_t* out = corrected.data();
    const int status = output.call("cali_awb_verify", [&] {
        return cali_awb_verify(&in, frame.width, static_cast<uint32_t>(frame.height), frame.pattern, grids.cols,
                               grids.rows, grids.red.data(), grids.green.data(), grids.blue.data(),
                               black_level.offset[kRR], black_level.offset[kGR], black_level.offset[kGB],
                               black_level.offset[kBB], black_level.gain[kRR], black_level.gain[kGR],
                               black_level.gain[kGB], black_level.gain[kBB], white_balance.red, white_balance.green,
                               white_balance.blue, &out);
    });
    require_accepted(status, "cali_awb_verify", frame.file);
    return corrected;
}

}  // namespace cali::host
