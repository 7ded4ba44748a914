#include "calibrations/flat_field_faults.h"

#include <algorithm>
#include <cstdio>

#include "base/error.h"
#include "base/text.h"
#include "calibrations/flatness.h"

namespace cali::host {
namespace {

constexpr double kMostSaturated = 0.005;  ///< share of the samples
constexpr double kLeastSignal = 200;      ///< codes of green above black at the centre: a twentieth of full scale
constexpr double kMostGradient = 0.10;    ///< green of one edge against the opposite one

double saturated_share(const Capture& capture) {
    const uint32_t full_scale = full_scale_code(capture.sensor);
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
    const BlockMeans means = block_means(flat.view(), black_level.offset);
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

}  // namespace cali::host
