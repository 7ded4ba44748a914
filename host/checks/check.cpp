#include "checks/check.h"

#include <cmath>

#include "base/error.h"
#include "base/text.h"

namespace cali::host {
namespace {

// Measured good and bad values stand in docs/limits.md.
constexpr std::array<CheckRecord, kChecks> kRecords = {{
    {"dark_level", "codes", true, {500, 800}, "the frame is not dark: cap the lens"},
    {"dark_spread", "codes", true, {8, 32}, "channels differ: is light leaking in, and is the colour pattern right?"},
    {"dark_blocks", "codes", true, {3, 10}, "the frame is uneven: is light leaking in?"},
    {"dark_zero", "%", true, {0.1, 40}, "samples are cut off at code 0: raise the sensor's pedestal"},
    {"dark_full_scale", "%", true, {0.1, 1}, "samples stand at full scale: cap the lens, expose less"},
    {"dark_defects", "ppm", true, {200, 2000}, "pixels stand far off their channel: map them out"},
    {"dark_lines", "codes", true, {4, 4095}, "a row or column stands off its neighbours: map it out"},
    {"dark_light", "", true, {0.6, 1}, "brighter blocks are noisier, as under light: is light leaking in?"},
    {"dark_frames", "codes", true, {1, 4}, "dark frames differ: take them one after the other, at one exposure"},
    {"stated_black", "codes", true, {4, 64}, "the files state another black level than the dark frames show"},
    {"flat_clipped", "%", true, {0.1, 0.5}, "samples are saturated: expose less"},
    {"flat_dark", "%", true, {0.1, 1}, "samples do not stand above black: expose more; is all of it lit?"},
    {"flat_level", "codes", false, {400, 200}, "too dark at the centre: expose more"},
    {"flat_tilt", "%", true, {4, 10}, "opposite edges differ: is it lit from one side?"},
    {"flat_dust", "%", true, {2, 6}, "a spot stands off its surroundings: clean lens and target, or use --denoise"},
    {"flat_residual_rms", "%", true, {0.6, 1.5}, "the mesh does not flatten the field: more nodes, less noise"},
    {"flat_residual_worst", "%", true, {3, 6}, "the mesh leaves a spot: dust, a smear, too few nodes?"},
    {"flat_gain_limit",
     "%",
     true,
     {0.1, 2},
     "nodes stand at the largest gain: the lens is darker than the block mends"},
    {"grey_clipped", "%", true, {0.1, 1}, "samples of the window are saturated: gains come out wrong; expose less"},
    {"grey_level", "codes", false, {100, 30}, "the card is dark in a channel: expose more"},
    {"grey_uniformity", "%", true, {3, 10}, "the window varies by more than its noise: is all of it on the card?"},
    {"grey_neutral", "dE2000", true, {1, 3}, "the card is not neutral behind these values: is it under their light?"},
    {"chart_clipped", "%", true, {0.1, 1}, "samples of a patch are saturated: expose less"},
    {"chart_level", "codes", false, {400, 200}, "the brightest patch is dark: expose more"},
    {"chart_dark", "codes", false, {5, 1}, "a patch hardly stands above black: expose more"},
    {"chart_orientation", "", false, {0.7, 0.5}, "the windows' colours are not the chart's: check windows or corners"},
    {"chart_light",
     "mired",
     true,
     {15, 50},
     "the values applied are of another light: take a grey card under this one"},
    {"chart_window_noise", "", true, {2, 5}, "a window varies by more than its noise: does it lie inside its patch?"},
    {"chart_greys", "", false, {1.2, 1.02}, "greys are not in order from white to black: glare, or wrong windows?"},
    {"chart_neutral",
     "%",
     true,
     {5, 25},
     "a grey is not neutral: is the chart under the light of the grey card, shaded as the flat field?"},
    {"chart_mean", "dE2000", true, {3, 7}, "the matrix leaves large differences: check windows, light and shading"},
    {"chart_worst", "dE2000", true, {8, 20}, "the matrix leaves a patch far off: check its window"},
    {"chart_leave_one_out", "dE2000", true, {1, 3}, "the matrix hangs on single patches: check their windows"},
    {"chart_diagonal",
     "entries",
     true,
     {0, 3},
     "the fit was stopped at the limits of the matrix's diagonal: is the chart's light that of the gains?"},
    {"chart_identity", "", true, {0, 0}, "no matrix could be fitted, it is the identity"},
    {"chart_amplification", "", true, {3, 6}, "the matrix amplifies noise by this factor"},
    {"curve_order",
     "pairs",
     true,
     {0, 0},
     "the lights do not follow each other along the curve: check stated temperatures"},
    {"curve_distance", "%", true, {10, 25}, "a light lies off the curve: check its capture and stated temperature"},
    {"noise_residual", "%", true, {3, 10}, "variances leave the line: check levels, window and clipping"},
    {"noise_flicker", "%", true, {0.2, 0.5}, "frames of a level differ in brightness: use direct current light"},
    {"noise_clipped", "%", true, {0.1, 1}, "samples stand at full scale or not above black: other exposures"},
    {"noise_order", "codes", false, {1, 0.01}, "levels do not rise from dark to bright"},
    {"noise_spread", "%", false, {30, 10}, "levels cover little of the range: add brighter ones"},
    {"noise_read_noise", "codes", false, {0.5, 0}, "read noise below half a code of the file: steps hide it"},
    {"noise_rounding",
     "",
     true,
     {4, 10},
     "the window is too large for single-precision sums: the noise comes out "
     "wrong"},
    {"table_need", "dE2000", false, {0, -1}, "a table mends little below 0.5: not needed"},
    {"table_leave_one_out",
     "dE2000",
     true,
     {-0.01, -0.01},
     "a table is worse than none for colours it was not made of"},
    {"burst_frame", "%", true, {1, 100}, "a frame is not as bright as its burst, and left out: was the light steady?"},
    {"not_computed", "", true, {0, 0}, "no values came out"},
    {"operator_warning", "", true, {0, 0}, "the library warns"},
    {"other_sensor", "", true, {0, 0}, "values of another sensor are applied"},
    {"stale", "", true, {0, 0}, "made with values that have changed since: run it again"},
    {"diff_offset", "codes", true, {2, 8}, "black levels differ"},
    {"diff_flatness", "%", true, {2, 5}, "fields differ in evenness"},
    {"diff_mesh_largest", "%", true, {4, 10}, "mesh gains differ at a node"},
    {"diff_mesh_rms", "%", true, {1.5, 4}, "mesh gains differ"},
    {"diff_radial_largest", "%", true, {4, 10}, "radial gains differ at a radius"},
    {"diff_radial_rms", "%", true, {1.5, 4}, "radial gains differ"},
    {"diff_gain", "%", true, {2, 5}, "white-balance gains differ"},
    {"diff_curve_largest", "", true, {0.05, 0.2}, "white-balance curves differ at a point"},
    {"diff_curve_rms", "", true, {0.02, 0.1}, "white-balance curves differ"},
    {"diff_matrix", "", true, {0.1, 0.3}, "colour matrices differ in an entry"},
    {"diff_colour", "dE", true, {1, 3}, "colour differences are not those of the golden sample"},
    {"diff_table_largest", "codes", true, {60, 200}, "colour tables differ at a node"},
    {"diff_table_rms", "codes", true, {10, 40}, "colour tables differ"},
    {"diff_noise", "%", true, {10, 30}, "noise differs"},
    {"diff_other", "%", true, {10, 30}, "figures differ"},
    {"diff_missing", "", true, {0, 0}, "in one of the files only"},
}};

}  // namespace

const CheckRecord& record_of(Check check) { return kRecords[static_cast<std::size_t>(check)]; }

Limits::Limits() {
    for (std::size_t i = 0; i < kChecks; ++i) {
        limit_[i] = kRecords[i].limit;
    }
}

void Limits::set(const std::string& code, const Limit& limit, const std::string& where) {
    for (std::size_t i = 0; i < kChecks; ++i) {
        const CheckRecord& record = kRecords[i];
        if (code != record.code) {
            continue;
        }
        const bool ordered = record.high ? limit.warn <= limit.fail : limit.warn >= limit.fail;
        if (!std::isfinite(limit.warn) || !std::isfinite(limit.fail) || !ordered) {
            throw InputError(where +
                             text(" is [%g, %g], expected two finite numbers, the limit to a warning first: ",
                                  limit.warn, limit.fail) +
                             record.code + (record.high ? " is doubtful above them" : " is doubtful below them"));
        }
        limit_[i] = limit;
        return;
    }
    throw InputError(where + ": there is no check of that name, expected one that docs/limits.md lists");
}

Severity Judge::hold(Check check, double measured, const std::string& place, std::optional<double> uncertainty) {
    const CheckRecord& record = record_of(check);
    const Limit& limit = limits_[check];
    const auto within = [&](double bound) { return record.high ? measured <= bound : measured >= bound; };
    const Severity severity = !within(limit.fail)   ? Severity::fail
                              : !within(limit.warn) ? Severity::warn
                                                    : Severity::pass;
    findings_.push_back({record.code, severity, subject_, place, measured, record.unit,
                         severity == Severity::fail ? limit.fail : limit.warn,
                         severity == Severity::pass ? "" : record.advice, uncertainty});
    return severity;
}

void Judge::say(Check check, Severity severity, const std::string& message, const std::string& place) {
    const CheckRecord& record = record_of(check);
    findings_.push_back({record.code, severity, subject_, place, {}, "", {}, message});
}

}  // namespace cali::host
