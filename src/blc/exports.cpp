#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "blc/estimators.h"
#include "boundary/export_call.h"
#include "boundary/frame_arguments.h"
#include "boundary/module_state.h"
#include "cali/cali.h"
#include "core/arithmetic.h"
#include "core/histogram.h"
#include "pictures/picture.h"
#include "stages/front_end.h"

namespace cali::blc {
namespace {

constexpr int32_t kOutOfBounds = 1;
constexpr int32_t kPictureFullScale = 1024;

/// Where the estimators' results go.
struct Outputs {
    PerChannel<uint32_t*> offset;
    PerChannel<float*> gain;

    void check(ArgumentCheck& check) const {
        constexpr PerChannel<const char*> kOffsets{{"offset_bb", "offset_gb", "offset_gr", "offset_rr"}};
        constexpr PerChannel<const char*> kGains{{"gain_bb", "gain_gb", "gain_gr", "gain_rr"}};
        for (std::size_t code = kChannels; code-- > 0;) {
            check.pointer(kOffsets[code], offset[code]);
        }
        for (std::size_t code = kChannels; code-- > 0;) {
            check.pointer(kGains[code], gain[code]);
        }
    }

    void write(const PerChannel<int32_t>& offsets) const {
        for (std::size_t code = 0; code < kChannels; ++code) {
            *offset[code] = static_cast<uint32_t>(offsets[code]);
            *gain[code] = restoring_gain(offsets[code]);
        }
    }
};

void print_histogram(const Histogram& histogram) {
    std::printf("Value\tBB\tGB\tGR\tRR\n");
    for (uint32_t value = 0; value < Histogram::kBins; ++value) {
        PerChannel<int32_t> count;
        for (std::size_t code = 0; code < kChannels; ++code) {
            count[code] = static_cast<int32_t>(histogram.channel(code)[value]);
        }
        if ((count[BB] | count[GB] | count[GR] | count[RR]) != 0) {
            std::printf("%d\t%d\t%d\t%d\t%d\n", static_cast<int32_t>(value), count[BB], count[GB], count[GR],
                        count[RR]);
        }
    }
}

/// With the report switch on also prints the table.
Histogram count_frame(const ConstRawFrame& frame) {
    Histogram histogram(frame);
    if (module_state().debug.blc_report) {
        print_histogram(histogram);
    }
    return histogram;
}

void print_report(const PerChannel<int32_t>& offsets) {
    constexpr std::array<const char*, kChannels> kNames = {"bb", "gb", "gr", "rr"};
    for (std::size_t code = kChannels; code-- > 0;) {
        std::printf("blc_%s_offset = %d\n", kNames[code], offsets[code]);
    }
    for (std::size_t code = kChannels; code-- > 0;) {
        std::printf("blc_%s_gain = %f\n", kNames[code], static_cast<double>(restoring_gain(offsets[code])));
    }
}

/// Prints a line for every channel whose median is implausible.
bool report_medians(const PerChannel<int32_t>& medians) {
    bool plausible = true;
    for (int code = 0; code < kChannels; ++code) {
        const int32_t median = medians[static_cast<std::size_t>(code)];
        const MedianFault fault = judge_median(median);
        if (fault == MedianFault::too_low) {
            std::printf("ch=%d, blc_offset(=%d) <= BLC_CALIB_MIN(=%d)\n", code, median, kCalibMin);
        } else if (fault == MedianFault::too_high) {
            std::printf("ch=%d, blc_offset(=%d) >= BLC_CALIB_MAX(=%d)\n", code, median, kCalibMax);
        }
        plausible = plausible && fault == MedianFault::none;
    }
    return plausible;
}

}  // namespace
}  // namespace cali::blc

using namespace cali;

int32_t cali_blc_calc_by_median(uint32_t** frame, uint32_t width, uint32_t height, int32_t pattern, uint32_t* offset_rr,
                                uint32_t* offset_gr, uint32_t* offset_gb, uint32_t* offset_bb, float* gain_rr,
                                float* gain_gr, float* gain_gb, float* gain_bb) {
    return run_export([&] {
        ArgumentCheck check(Family::blc, "cali_blc_calc_by_median");
        const ConstRawFrame view = checked_frame(check, "frame", frame, width, height, pattern);
        const blc::Outputs outputs{{{offset_bb, offset_gb, offset_gr, offset_rr}},
                                   {{gain_bb, gain_gb, gain_gr, gain_rr}}};
        outputs.check(check);
        if (!check.ok()) {
            return kRejected;
        }
        const PerChannel<int32_t> medians = blc::channel_medians(blc::count_frame(view), view.size(), view.pattern);
        const bool plausible = blc::report_medians(medians);
        outputs.write(medians);
        if (module_state().debug.blc_report) {
            blc::print_report(medians);
        }
        return plausible ? kOk : blc::kOutOfBounds;
    });
}

int32_t cali_blc_calc_by_mean(uint32_t** frame, uint32_t width, uint32_t height, int32_t pattern, uint32_t* offset_rr,
                              uint32_t* offset_gr, uint32_t* offset_gb, uint32_t* offset_bb, float* gain_rr,
                              float* gain_gr, float* gain_gb, float* gain_bb) {
    return run_export([&] {
        ArgumentCheck check(Family::blc, "cali_blc_calc_by_mean");
        // This method has always counted rows and columns in 16 bits.
        const ConstRawFrame view =
            checked_frame(check, "frame", frame, static_cast<uint16_t>(width), static_cast<uint16_t>(height), pattern);
        const blc::Outputs outputs{{{offset_bb, offset_gb, offset_gr, offset_rr}},
                                   {{gain_bb, gain_gb, gain_gr, gain_rr}}};
        outputs.check(check);
        if (!check.ok()) {
            return kRejected;
        }
        const PerChannel<float> means = blc::channel_means(view);
        PerChannel<int32_t> offsets;
        for (std::size_t code = 0; code < kChannels; ++code) {
            offsets[code] = add_half_and_truncate(static_cast<double>(means[code]));
        }
        outputs.write(offsets);
        if (module_state().debug.blc_report) {
            blc::print_report(offsets);
        }
        std::printf("blc result=%d\n", kOk);
        return kOk;
    });
}

int32_t cali_blc_calc(uint32_t** frame, int32_t width, int32_t height, int32_t pattern, uint32_t* offset_rr,
                      uint32_t* offset_gr, uint32_t* offset_gb, uint32_t* offset_bb, float* gain_rr, float* gain_gr,
                      float* gain_gb, float* gain_bb, int32_t is_12bit) {
    return run_export([&] {
        ArgumentCheck check(Family::blc, "cali_blc_calc");
        const ConstRawFrame view = checked_frame(check, "frame", frame, width, height, pattern);
        const blc::Outputs outputs{{{offset_bb, offset_gb, offset_gr, offset_rr}},
                                   {{gain_bb, gain_gb, gain_gr, gain_rr}}};
        outputs.check(check);
        if (!check.ok()) {
            return kRejected;
        }
        const int32_t full_scale = is_12bit != 0 ? 4095 : 1023;
        PerChannel<int32_t> offsets = blc::means_plus_deviation(view);
        for (int32_t& offset : offsets.value) {
            offset = std::min(offset, full_scale);
        }
        outputs.write(offsets);
        return kOk;
    });
}

int32_t cali_blc_calc_by_localblc(uint32_t** frame, int32_t width, int32_t height, int32_t pattern, uint32_t* offset_rr,
                                  uint32_t* offset_gr, uint32_t* offset_gb, uint32_t* offset_bb, void* /*spare_1*/,
                                  void* /*spare_2*/, void* /*spare_3*/, void* /*spare_4*/, uint32_t blocks) {
    return run_export([&] {
        ArgumentCheck check(Family::blc, "cali_blc_calc_by_localblc");
        const ConstRawFrame view = checked_frame(check, "frame", frame, width, height, pattern);
        if (!check.ok()) {
            return kRejected;
        }
        const auto block_width = static_cast<uint16_t>(blocks == 0 ? 0 : static_cast<uint32_t>(width) / blocks);
        const auto block_height = static_cast<uint16_t>(blocks == 0 ? 0 : static_cast<uint32_t>(height) / blocks);
        if (block_width == 0 || block_height == 0) {
            check.reject("blocks is %u for a frame of %d x %d, which leaves a block size of 0", blocks, width, height);
            return kRejected;
        }
        const std::size_t entries = std::size_t{blocks} * blocks / 4;
        const PerChannel<uint32_t*> outputs{{offset_bb, offset_gb, offset_gr, offset_rr}};
        if (entries != 0) {
            check.pointer("offset_rr", offset_rr);
            check.pointer("offset_gr", offset_gr);
            check.pointer("offset_gb", offset_gb);
            check.pointer("offset_bb", offset_bb);
        }
        if (!check.ok()) {
            return kRejected;
        }
        std::array<std::span<uint32_t>, 4> positions;
        for (uint32_t p = 0; p < 4; ++p) {
            positions[p] = {outputs[bayer_channel(pattern, p >> 1U, p & 1U)], entries};
        }
        blc::block_offsets(view, block_width, block_height, positions);
        return kOk;
    });
}

int32_t cali_blc_get_histogram(uint32_t** frame, uint32_t width, uint32_t height, uint32_t pattern, uint32_t* hist_rr,
                               uint32_t* hist_gr, uint32_t* hist_gb, uint32_t* hist_bb) {
    return run_export([&] {
        ArgumentCheck check(Family::blc, "cali_blc_get_histogram");
        const ConstRawFrame view = checked_frame(check, "frame", frame, width, height, pattern);
        check.pointer("hist_rr", hist_rr);
        check.pointer("hist_gr", hist_gr);
        check.pointer("hist_gb", hist_gb);
        check.pointer("hist_bb", hist_bb);
        if (!check.ok()) {
            return kRejected;
        }
        const Histogram histogram = blc::count_frame(view);
        const PerChannel<uint32_t*> outputs{{hist_bb, hist_gb, hist_gr, hist_rr}};
        for (std::size_t code = 0; code < kChannels; ++code) {
            std::ranges::copy(histogram.channel(code), outputs[code]);
        }
        return kOk;
    });
}

int32_t cali_blc_verify(uint32_t** frame, uint32_t width, uint32_t height, uint32_t pattern, uint32_t offset_rr,
                        uint32_t offset_gr, uint32_t offset_gb, uint32_t offset_bb, float gain_rr, float gain_gr,
                        float gain_gb, float gain_bb, uint32_t** output) {
    return run_export([&] {
        ArgumentCheck check(Family::blc, "cali_blc_verify");
        const ConstRawFrame input = checked_frame(check, "frame", frame, width, height, pattern);
        if (width != 0 && height != 0) {
            check.frame("output", output);
        }
        if (!check.ok()) {
            return kRejected;
        }
        if (input.empty()) {
            return kOk;
        }
        std::optional<OwnedPicture> picture;
        if (module_state().debug.blc_report) {
            picture.emplace(input.width, input.height);
        }
        FrontEnd front_end;
        front_end.black_level = BlackLevel::from_red_first({offset_rr, offset_gr, offset_gb, offset_bb},
                                                           {gain_rr, gain_gr, gain_gb, gain_bb});
        apply_front_end(input, front_end, *output);
        if (picture) {
            const auto grey = [](const uint32_t* samples) { return std::array{samples, samples, samples}; };
            write_ppm_planes("_blc_in.ppm", picture->get(), grey(input.samples), blc::kPictureFullScale);
            write_ppm_planes("_blc_out.ppm", picture->get(), grey(*output), blc::kPictureFullScale);
        }
        return kOk;
    });
}
