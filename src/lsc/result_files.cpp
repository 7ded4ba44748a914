#include "lsc/result_files.h"

#include <cstdio>
#include <string>

#include "pictures/debug_file.h"
#include "pictures/picture.h"
#include "stages/register_text.h"

namespace cali::lsc {
namespace {

constexpr std::array<const char*, 3> kSampleFiles = {"_sample_rr_nr.ppm", "_sample_gg_nr.ppm", "_sample_bb_nr.ppm"};

void write_text(const char* name, const std::string& text) {
    const DebugFile file = open_debug_file(name);
    if (file) {
        std::fwrite(text.data(), 1, text.size(), file.get());
    }
}

void write_grey(const char* name, const uint32_t* samples, int32_t width, int32_t height) {
    const OwnedPicture picture(width, height);
    write_ppm_planes(name, picture.get(), {samples, samples, samples}, kWhiteOf12Bits);
}

void write_profile(const char* name, const std::vector<float>& profile) {
    std::string text;
    for (std::size_t i = 0; i < profile.size(); ++i) {
        text.append(std::to_string(i)).append(", ").append(std::to_string(profile[i])).append("\n");
    }
    write_text(name, text);
}

/// The table of means and deviations by radius has never been filled: it starts with unity means and goes on with
/// zeros, and readers of the file rely on its layout.
std::string radial_statistics() {
    std::string text = "radius_lsc_statistics\nmu r, mu g, mu b, std r, std g, std b\n";
    for (std::size_t k = 0; k < kRadialEntries; ++k) {
        text.append(k == 0 ? "1.000000, 1.000000, 1.000000, 0.000000, 0.000000, 0.000000\n"
                           : "0.000000, 0.000000, 0.000000, 0.000000, 0.000000, 0.000000\n");
    }
    return text.append("\n");
}

}  // namespace

void write_planes(const PerChannel<const char*>& names, const ChannelPlanes& planes) {
    for (std::size_t code = kChannels; code-- > 0;) {
        const auto* const samples = reinterpret_cast<const uint32_t*>(planes.samples[code].data());
        write_grey(names[code], samples, planes.width, planes.height);
    }
}

void write_profiles(const LightProfiles& profiles) {
    write_profile("_hist_w.csv", profiles.columns);
    write_profile("_hist_h.csv", profiles.rows);
}

void lsc_write_register_text(const ShadingTables& tables, const NodeSamples& samples) {
    write_text("_dbg_lsc_coeff.csv", lsc_register_text(tables));
    write_text("_lsc_coeff.csv", lsc_coefficient_csv(tables));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        write_grey(kSampleFiles[i], samples[i].data(), tables.cols, tables.rows);
    }
    write_text("_radius_lsc_statistics.csv", radial_statistics());
}

}  // namespace cali::lsc
