#include <algorithm>
#include <cstdio>
#include <new>
#include <span>

#include "boundary/export_call.h"
#include "cali/cali.h"
#include "chart/chart_table.h"
#include "regions/roi_colour.h"

using namespace cali;

namespace {

int32_t no_grey_pairs() {
    std::printf("No available reference gray point pairs\n");
    return kRejected;
}

/// Appends to both arrays; returns how many pairs they then hold.
uint32_t append_pairs(RoiRgbMean* measured, RoiRgbMean* reference, uint32_t count, const GrayInterpSettings& settings,
                      const std::vector<regions::ColourPair>& pairs) {
    const std::vector<uint64_t> inserts = regions::plan_inserts(pairs, settings);
    if (inserts.empty()) {
        std::printf("ERROR\n");
        return count;
    }
    for (std::size_t i = 0; i < inserts.size(); ++i) {
        for (uint64_t j = 1; j <= inserts[i]; ++j, ++count) {
            const regions::ColourPair pair = regions::between(pairs[i], pairs[i + 1], j, inserts[i] + 1);
            measured[count] = pair.measured;
            reference[count] = pair.reference;
        }
    }
    return count;
}

}  // namespace

int32_t cali_roi_rgb_cal(const uint8_t* image, int32_t width, int64_t /*height*/, RoiRgbMean* means,
                         const RoiRect* rois, int32_t roi_count) {
    return run_export([&] {
        if (roi_count < 1) {
            return kOk;
        }
        ArgumentCheck check(Family::roi, "cali_roi_rgb_cal");
        check.range("width", width, 0, INT32_MAX);
        check.pointer("means", means);
        check.pointer("rois", rois);
        if (check.ok() &&
            std::any_of(rois, rois + roi_count, [](const RoiRect& roi) { return roi.w > 0 && roi.h > 0; })) {
            check.pointer("image", image);
        }
        if (!check.ok()) {
            return kRejected;
        }
        std::transform(rois, rois + roi_count, means,
                       [&](const RoiRect& roi) { return regions::measure_region(image, width, roi); });
        return kOk;
    });
}

int32_t cali_roi_rgb_adjust(const RoiRgbMean* measured, const RoiRgbMean* reference, RoiRgbMean* adjusted,
                            uint32_t count, uint32_t mode) {
    return run_export([&] {
        if (count == 0) {
            return kOk;
        }
        ArgumentCheck check(Family::roi, "cali_roi_rgb_adjust");
        check.pointer("measured", measured);
        check.pointer("reference", reference);
        check.pointer("adjusted", adjusted);
        if (!check.ok()) {
            return kRejected;
        }
        const auto fit = [&](std::size_t first, std::size_t n) {
            regions::fit_lines({measured + first, n}, {reference + first, n}, {adjusted + first, n});
        };
        if (count != kChartPatches || (mode != CALI_ROI_GREY_LIGHTNESS && mode != CALI_ROI_GREY_LINE)) {
            fit(0, count);
            return kOk;
        }
        fit(0, kColourPatches);
        if (mode == CALI_ROI_GREY_LINE) {
            fit(kFirstGrey, kGreyPatches);
            return kOk;
        }
        for (std::size_t k = kFirstGrey; k < kChartPatches; ++k) {
            regions::transfer_lightness(measured[k], reference[k], adjusted[k]);
        }
        return kOk;
    });
}

int32_t cali_roi_rgb_interpolation(RoiRgbMean* measured, RoiRgbMean* reference, uint32_t count,
                                   const GrayInterpSettings* settings, uint32_t* out_count) {
    return run_export([&] {
        ArgumentCheck check(Family::roi, "cali_roi_rgb_interpolation");
        check.pointer("settings", settings);
        check.pointer("out_count", out_count);
        if (!check.ok()) {
            return kRejected;
        }
        if (settings->max_add == 0) {
            *out_count = count;
            return kOk;
        }
        if (settings->step == 0) {
            check.reject("step is 0, expected 1 or more");
        }
        if (count != 0) {
            check.pointer("measured", measured);
            check.pointer("reference", reference);
        }
        if (uint64_t{count} + settings->max_add > UINT32_MAX) {
            check.reject("count + max_add exceeds what 32 bits count");
        }
        if (!check.ok()) {
            return kRejected;
        }
        *out_count = count;
        if (count == 0) {
            return no_grey_pairs();
        }
        try {
            const std::vector<regions::ColourPair> pairs =
                regions::grey_pairs({measured, count}, {reference, count}, settings->gray_tolerance);
            if (pairs.size() < 2) {
                return no_grey_pairs();
            }
            *out_count = append_pairs(measured, reference, count, *settings, pairs);
            return kOk;
        } catch (const std::bad_alloc&) {
            std::printf("Allocate internal memory fail\n");
            return kRejected;
        }
    });
}
