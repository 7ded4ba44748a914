#include "calibrations/colour_table.h"

#include <algorithm>
#include <limits>

#include "base/text.h"
#include "calibrations/chart_reference.h"
#include "library/exports.h"
#include "lut/apply.h"
#include "math/colour_space.h"

namespace cali::host {
namespace {

constexpr int kGreySteps = 64;

// What is tried. Coarse tables suffice to choose: they differ from fine ones by less than the settings do.
constexpr std::array kRadii = {0.1, 0.2, 0.3, 0.45};
constexpr std::array kStrengths = {0.25, 0.5, 0.75, 1.0};
constexpr int kTrialNodes = 17;
constexpr double kDefaultRadius = 0.2;

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
                              static_cast<float>(settings.strength.value_or(1)),
                              static_cast<float>(settings.radius.value_or(kRadii[0]))};
    return exports::clut_calc(settings.domain == TableDomain::rgb, measured, target, record, {input.file, output});
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

/// Each patch behind a table made without it.
std::vector<Colour> left_out(const TableInput& input, const ColourTableSettings& settings,
                             const LibraryOutput& output) {
    std::vector<Colour> colours;
    for (std::size_t i = 0; i < input.corrected.size(); ++i) {
        colours.push_back(through(make_table(input, settings, output, i), settings, input.corrected[i]));
    }
    return colours;
}

ColourTableSettings with_defaults(ColourTableSettings settings) {
    settings.radius = settings.radius.value_or(kDefaultRadius);
    settings.strength = settings.strength.value_or(1);
    return settings;
}

/// Fills what is empty with what leaves the smallest leave-one-out mean.
ColourTableSettings chosen_settings(const TableInput& input, const ColourTableSettings& asked) {
    const LibraryOutput quiet;
    std::vector<double> radii(kRadii.begin(), kRadii.end());
    std::vector<double> strengths(kStrengths.begin(), kStrengths.end());
    if (asked.radius) {
        radii = {*asked.radius};
    }
    if (asked.strength) {
        strengths = {*asked.strength};
    }
    ColourTableSettings best = asked;
    double least = std::numeric_limits<double>::infinity();
    for (const double radius : radii) {
        ColourTableSettings trial = asked;
        trial.nodes = std::min(asked.nodes, kTrialNodes);
        trial.radius = radius;
        trial.strength = 1;
        const std::vector<Colour> full = left_out(input, trial, quiet);
        for (const double strength : strengths) {
            // A table's shifts grow with the strength, so that one at full strength tells of all.
            std::vector<Colour> partial = full;
            for (std::size_t i = 0; i < partial.size(); ++i) {
                const Colour from = encoded(input.corrected[i]);
                const Colour to = encoded(full[i]);
                for (std::size_t c = 0; c < from.size(); ++c) {
                    partial[i][c] = static_cast<double>(srgb_decode(from[c] + strength * (to[c] - from[c])));
                }
            }
            const double mean = differences(partial, input.reference).mean;
            if (mean < least) {
                least = mean;
                best.radius = radius;
                best.strength = strength;
            }
        }
    }
    return best;
}

}  // namespace

ColourTable calibrate_table(const TableInput& input, const ColourTableSettings& asked, const LibraryOutput& output) {
    ColourTable table;
    table.input = input;
    table.before = differences(input.corrected, input.reference);
    table.needed = table.before.mean >= kLeastTableNeed;
    // One that nobody needs is not worth the search.
    table.chosen = table.needed && (!asked.radius || !asked.strength);
    table.settings = table.chosen ? chosen_settings(input, asked) : with_defaults(asked);
    const ColourTableSettings& settings = table.settings;
    table.value = make_table(input, settings, output, input.corrected.size());
    for (const Colour& colour : input.corrected) {
        table.result.push_back(through(table.value, settings, colour));
    }
    ColourTableSettings trial = settings;
    trial.nodes = table.needed ? settings.nodes : std::min(settings.nodes, kTrialNodes);
    table.leave_one_out = differences(left_out(input, trial, output), input.reference).mean;
    table.after = differences(table.result, input.reference);
    for (int i = 0; i < kGreySteps; ++i) {
        const auto level = static_cast<double>(srgb_decode(static_cast<double>(i) / (kGreySteps - 1)));
        const Colour grey = {level, level, level};
        table.grey_movement =
            std::max(table.grey_movement, delta_e_2000(lab_of(through(table.value, settings, grey)), lab_of(grey)));
    }
    return table;
}

double movement(const ColourTable& table, const Colour& encoded) {
    Colour linear{};
    std::ranges::transform(encoded, linear.begin(), [](double code) { return static_cast<double>(srgb_decode(code)); });
    return delta_e_2000(lab_of(through(table.value, table.settings, linear)), lab_of(linear));
}

Section describe(const ColourTable& table) {
    const ColourTableSettings& settings = table.settings;
    Section section;
    section.title = "Colour table: " + table.input.file.filename().string() +
                    text(", %s, %d^3 nodes, strength %.2f, radius %.2f", table_domain_name(settings.domain),
                         settings.nodes, settings.strength.value_or(0), settings.radius.value_or(0)) +
                    (table.chosen ? ", chosen by leave-one-out" : "");
    if (table.input.limited > 0) {
        section.notes.push_back(
            text("%d components that the matrix pushed out of 0..1 were limited to it", table.input.limited));
    }
    section.notes.push_back("reference: " + reference_name(table.input.reference_file));
    section.notes.push_back(text("CIEDE2000 before: mean %.3f, worst %.3f; after: mean %.3f, worst %.3f",
                                 table.before.mean, table.before.worst, table.after.mean, table.after.worst));
    section.notes.push_back(
        text("leave-one-out mean %.3f; greys move by at most %.3f", table.leave_one_out, table.grey_movement));
    section.figures = {
        {"before_mean_de_2000", table.before.mean, "dE"},  {"before_worst_de_2000", table.before.worst, "dE"},
        {"after_mean_de_2000", table.after.mean, "dE"},    {"after_worst_de_2000", table.after.worst, "dE"},
        {"leave_one_out_mean", table.leave_one_out, "dE"}, {"grey_movement", table.grey_movement, "dE"}};
    if (!table.needed) {
        section.notes.push_back(text("not needed: the matrix leaves a mean below %.1f", kLeastTableNeed));
    }
    section.swatches.push_back({table.input.corrected, table.result, table.input.reference});
    add_plots(table, section);
    return section;
}

}  // namespace cali::host
