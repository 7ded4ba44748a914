#include "calibrations/lens_shading.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "base/error.h"

namespace cali::host {
namespace {

constexpr int kLeastSide = 16;  ///< of a flat field

constexpr double kMostSaturated = 0.005;  ///< share of the samples
constexpr double kLeastSignal = 200;      ///< codes of green above black at the centre: a twentieth of full scale
constexpr double kMostGradient = 0.10;    ///< green of one edge against the opposite one

template <typename... Values>
std::string text(const char* format, Values... values) {
    std::array<char, 256> buffer{};
    (void)std::snprintf(buffer.data(), buffer.size(), format, values...);
    return buffer.data();
}

double saturated_share(const Capture& capture) {
    const uint32_t full_scale = full_scale_code(capture);
    const auto count = std::ranges::count_if(capture.samples, [=](uint32_t sample) { return sample >= full_scale; });
    return static_cast<double>(count) / static_cast<double>(capture.samples.size());
}

/// A lens darkens opposite edges alike, a lamp at the side does not.
std::string gradient_fault(double first, double second, const char* first_name, const char* second_name) {
    const double brighter = std::max(first, second);
    const double fall = (brighter - std::min(first, second)) / brighter;
    if (fall <= kMostGradient) {
        return "";
    }
    return text(
        "the light falls by %.1f %% from the %s edge to the %s edge, expected at most %.0f %%: is it lit from one "
        "side?",
        fall * 100, first > second ? first_name : second_name, first > second ? second_name : first_name,
        kMostGradient * 100);
}

}  // namespace

std::vector<std::string> find_faults(const Capture& flat, const BlackLevels& black_level) {
    std::vector<std::string> faults;
    const double saturated = saturated_share(flat);
    if (saturated > kMostSaturated) {
        faults.push_back(text("%.1f %% of the samples are saturated, expected at most %.1f %%: expose less",
                              saturated * 100, kMostSaturated * 100));
    }
    const BlockMeans means = block_means(flat.samples, flat.width, flat.height, flat.pattern, black_level.offset);
    const double signal = means.centre()[1];
    if (signal < kLeastSignal) {
        faults.push_back(
            text("too dark: green stands %.0f codes above black at the centre, expected at least %.0f of "
                 "4095: expose more",
                 signal, kLeastSignal));
        return faults;  // what is left is noise
    }
    const auto green = [&](int col, int row) { return means.at(col, row)[1]; };
    for (const std::string& fault :
         {gradient_fault(green(0, means.rows / 2), green(means.cols - 1, means.rows / 2), "left", "right"),
          gradient_fault(green(means.cols / 2, 0), green(means.cols / 2, means.rows - 1), "top", "bottom")}) {
        if (!fault.empty()) {
            faults.push_back(fault);
        }
    }
    return faults;
}

void require_flat(const Capture& flat, const BlackLevels& black_level, bool forced) {
    std::string faults;
    for (const std::string& fault : find_faults(flat, black_level)) {
        faults += (faults.empty() ? "" : "; ") + fault;
    }
    if (faults.empty()) {
        return;
    }
    const std::string message = flat.file.string() + ": no flat field to calibrate on: " + faults;
    if (!forced) {
        throw CalibrationError(message);
    }
    (void)std::fprintf(stderr, "cali: %s\n", message.c_str());
}

LensShading calibrate_flat_field(Capture& flat, const BlackLevels& black_level, const ShadingSettings& settings,
                                 const LibraryOutput& output, CorrectedFlat& corrected) {
    require_shadeable(flat);
    if (flat.width < kLeastSide || flat.height < kLeastSide) {
        throw InputError(text("%s: %d x %d samples, expected a flat field of 16 x 16 or more",
                              flat.file.string().c_str(), flat.width, flat.height));
    }
    LensShading result;
    result.file = flat.file;
    result.settings = settings;
    result.before =
        measure_uniformity(block_means(flat.samples, flat.width, flat.height, flat.pattern, black_level.offset));
    ShadingTables& tables = result.tables;
    tables.width = flat.width;
    tables.height = flat.height;
    tables.cols = settings.cols;
    tables.rows = settings.rows;
    tables.mesh.fill(
        std::vector<int32_t>(static_cast<std::size_t>(settings.cols) * static_cast<std::size_t>(settings.rows)));
    const auto black = [&](ChannelIndex channel) { return static_cast<int32_t>(black_level.offset[channel]); };
    uint32_t* frame = flat.samples.data();
    require_accepted(output.call("cali_lsc_calc",
                                 [&] {
                                     return cali_lsc_calc(&frame, flat.width, flat.height, flat.pattern, settings.cols,
                                                          settings.rows, static_cast<int32_t>(settings.type),
                                                          settings.denoise ? 1 : 0, black(kRR), black(kGR), black(kGB),
                                                          black(kBB), &tables.center_x, &tables.center_y, nullptr,
                                                          &tables.norm, tables.mesh[0].data(), tables.mesh[1].data(),
                                                          tables.mesh[2].data(), tables.radial.data());
                                 }),
                     "cali_lsc_calc", flat.file);

    corrected.mesh.resize(flat.samples.size());
    corrected.radial.resize(flat.samples.size());
    uint32_t* mesh = corrected.mesh.data();
    uint32_t* radial = corrected.radial.data();
    const Channels<uint32_t>& offset = black_level.offset;
    const Channels<float>& gain = black_level.gain;
    require_accepted(output.call("cali_lsc_verify",
                                 [&] {
                                     return cali_lsc_verify(
                                         &frame, flat.width, flat.height, flat.pattern, settings.cols, settings.rows, 0,
                                         offset[kRR], offset[kGR], offset[kGB], offset[kBB], gain[kRR], gain[kGR],
                                         gain[kGB], gain[kBB], tables.center_x, tables.center_y, 0, 0,
                                         tables.mesh[0].data(), tables.mesh[1].data(), tables.mesh[2].data(),
                                         tables.radial.data(), &mesh, &radial);
                                 }),
                     "cali_lsc_verify", flat.file);
    const auto uniformity = [&](const std::vector<uint32_t>& samples) {
        return measure_uniformity(block_means(samples, flat.width, flat.height, flat.pattern, {}));
    };
    result.after_mesh = uniformity(corrected.mesh);
    result.after_radial = uniformity(corrected.radial);
    return result;
}

ShadingGrids grids_of(const LensShading& shading) {
    const auto table = [&](std::size_t i) {
        const std::vector<int32_t>& nodes = shading.tables.mesh[i];
        return std::vector<uint32_t>(nodes.begin(), nodes.end());
    };
    return {shading.tables.cols, shading.tables.rows, table(0), table(1), table(2)};
}

WhiteBalance balance_grey_card(Capture& grey, std::optional<double> illuminant_k, const BlackLevels& black_level,
                               const std::vector<LensShading>& shading, const Window& window,
                               const LibraryOutput& output) {
    const LensShading* const nearest = nearest_light(shading, illuminant_k);
    WhiteBalance result =
        measure_grey_card(grey, black_level, nearest != nullptr ? grids_of(*nearest) : ShadingGrids{}, window, output);
    result.illuminant_k = illuminant_k;
    result.flat_field = nearest != nullptr ? nearest->file : "";
    return result;
}

}  // namespace cali::host
