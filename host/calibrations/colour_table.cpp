#include "calibrations/colour_table.h"

#include <algorithm>
#include <cstdio>

#include "base/output_file.h"
#include "cali/cali.h"
#include "calibrations/black_level.h"
#include "lut/apply.h"
#include "math/colour_space.h"

namespace cali::host {
namespace {

constexpr int kGreySteps = 64;
constexpr double kFullScale = kLibraryFullScale;

Colour encoded(const Colour& linear) {
    return {srgb_encode(linear[0]), srgb_encode(linear[1]), srgb_encode(linear[2])};
}

ClutCell cell_of(const Colour& linear) {
    const Colour colour = encoded(linear);
    const auto component = [&](std::size_t c) { return static_cast<float>(std::clamp(colour[c], 0.0, 1.0)); };
    return {component(0), component(1), component(2), 1.0F};
}

/// The export on all patches but one (none: all).
std::vector<int32_t> make_table(const TableInput& input, const ColourTableSettings& settings,
                                const LibraryOutput& output, std::size_t left_out) {
    std::vector<ClutCell> measured;
    std::vector<ClutCell> target;
    for (std::size_t i = 0; i < input.corrected.size(); ++i) {
        if (i != left_out) {
            measured.push_back(cell_of(input.corrected[i]));
            target.push_back(cell_of(input.reference[i]));
        }
    }
    const ClutSettings record{{settings.nodes, settings.nodes, settings.nodes},
                              static_cast<float>(settings.strength),
                              static_cast<float>(settings.radius)};
    const auto nodes = static_cast<std::size_t>(settings.nodes);
    std::vector<int32_t> table(nodes * nodes * nodes * 3);
    const bool rgb = settings.domain == TableDomain::rgb;
    const char* const name = rgb ? "cali_clut_calc_rgb" : "cali_clut_calc";
    require_accepted(output.call(name,
                                 [&] {
                                     return (rgb ? cali_clut_calc_rgb : cali_clut_calc)(
                                         measured.data(), target.data(), static_cast<int32_t>(measured.size()), &record,
                                         table.data());
                                 }),
                     name, input.file);
    return table;
}

/// A linear colour behind a table.
Colour through(const std::vector<int32_t>& table, const ColourTableSettings& settings, const Colour& linear) {
    const bool rgb = settings.domain == TableDomain::rgb;
    const lut::Lattice lattice =
        lut::lattice_of(rgb ? lut::Domain::rgb : lut::Domain::hsv, {settings.nodes, settings.nodes, settings.nodes});
    Colour colour = encoded(linear);
    if (rgb) {
        std::array<float, 3> codes = {static_cast<float>(colour[0]), static_cast<float>(colour[1]),
                                      static_cast<float>(colour[2])};
        lut::apply_rgb_table({lattice, table.data()}, lut::Interpolation::tetrahedral, {&codes, 1});
        colour = {codes[0], codes[1], codes[2]};
    } else {
        colour = lut::apply_hsv_table(lattice, table.data(), colour);
    }
    return {static_cast<double>(srgb_decode(colour[0])), static_cast<double>(srgb_decode(colour[1])),
            static_cast<double>(srgb_decode(colour[2]))};
}

Colour lab_of(const Colour& linear) { return lab_of_linear_rgb(linear, white_point(kD65)); }

DifferenceSummary differences(const std::vector<Colour>& colours, const std::vector<Colour>& reference) {
    std::vector<Colour> lab(colours.size());
    std::vector<Colour> wanted(reference.size());
    std::ranges::transform(colours, lab.begin(), lab_of);
    std::ranges::transform(reference, wanted.begin(), lab_of);
    return summarise(lab, wanted, delta_e_2000);
}

}  // namespace

ColourTable calibrate_table(const TableInput& input, const ColourTableSettings& settings, const LibraryOutput& output) {
    ColourTable table;
    table.input = input;
    table.settings = settings;
    table.value = make_table(input, settings, output, input.corrected.size());
    for (std::size_t i = 0; i < input.corrected.size(); ++i) {
        table.result.push_back(through(table.value, settings, input.corrected[i]));
        const Colour without = through(make_table(input, settings, output, i), settings, input.corrected[i]);
        table.leave_one_out +=
            delta_e_2000(lab_of(without), lab_of(input.reference[i])) / static_cast<double>(input.corrected.size());
    }
    table.before = differences(input.corrected, input.reference);
    table.after = differences(table.result, input.reference);
    for (int i = 0; i < kGreySteps; ++i) {
        const auto level = static_cast<double>(srgb_decode(static_cast<double>(i) / (kGreySteps - 1)));
        const Colour grey = {level, level, level};
        table.grey_movement =
            std::max(table.grey_movement, delta_e_2000(lab_of(through(table.value, settings, grey)), lab_of(grey)));
    }
    return table;
}

void write_cube(const std::filesystem::path& file, const ColourTable& table) {
    std::string text = "# Encoded sRGB in and out.\nTITLE \"" + table.input.file.stem().string() + "\"\nLUT_3D_SIZE " +
                       std::to_string(table.settings.nodes) + "\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 1\n";
    for (std::size_t i = 0; i < table.value.size(); i += 3) {
        char line[64];
        (void)std::snprintf(line, sizeof line, "%.6f %.6f %.6f\n", table.value[i] / kFullScale,
                            table.value[i + 1] / kFullScale, table.value[i + 2] / kFullScale);
        text += line;
    }
    write_text_file(file, text);
}

void print_table(const ColourTable& table) {
    std::printf("Colour table: %s, %s, %d^3 nodes, strength %.2f, radius %.2f\n",
                table.input.file.filename().string().c_str(), table.settings.domain == TableDomain::rgb ? "rgb" : "hsv",
                table.settings.nodes, table.settings.strength, table.settings.radius);
    if (table.input.limited > 0) {
        std::printf("  %d components that the matrix pushed out of 0..1 were limited to it\n", table.input.limited);
    }
    std::printf("  CIEDE2000 before: mean %.3f, worst %.3f; after: mean %.3f, worst %.3f\n", table.before.mean,
                table.before.worst, table.after.mean, table.after.worst);
    std::printf("  leave-one-out mean %.3f; greys move by at most %.3f\n", table.leave_one_out, table.grey_movement);
}

}  // namespace cali::host
