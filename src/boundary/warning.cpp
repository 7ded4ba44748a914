#include "boundary/warning.h"

#include <array>
#include <cstdio>

#ifdef _WIN32
#include <windows.h>

#include "core/environment.h"
#endif

namespace cali {
namespace {

void platform_sink(const char* caption, const char* text) {
#ifdef _WIN32
    if (environment_variable("CALI_WARNINGS") != "stderr") {
        MessageBoxA(nullptr, text, caption, MB_OK);
        return;
    }
#endif
    std::fprintf(stderr, "%s: %s\n", caption, text);
    std::fflush(stderr);
}

WarningSink current_sink = platform_sink;

}  // namespace

const char* warning_caption(Family family) {
    constexpr std::array kCaptions = {"WB Calib Warning",  "BLC Calib Warning", "LSC Calib Warning",
                                      "CCM Calib Warning", "ROI Calib Warning", "Noise Calib Warning",
                                      "CLUT Calib Warning"};
    return kCaptions[static_cast<std::size_t>(family)];
}

void warn(Family family, const char* text) noexcept {
    try {
        current_sink(warning_caption(family), text);
    } catch (...) {  // a sink that cannot report must not take the calibration down
    }
}

WarningSink set_warning_sink(WarningSink sink) noexcept {
    const WarningSink before = current_sink;
    current_sink = sink != nullptr ? sink : platform_sink;
    return before == platform_sink ? nullptr : before;
}

}  // namespace cali
