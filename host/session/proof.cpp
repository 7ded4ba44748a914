#include "session/proof.h"

#include "base/error.h"
#include "base/text.h"
#include "captures/capture_entry.h"
#include "checks/chart_checks.h"
#include "checks/flat_checks.h"
#include "checks/grey_checks.h"
#include "detection/locate_chart.h"
#include "library/exports.h"
#include "library/front_end.h"
#include "results/choose_values.h"

namespace cali::host {
namespace {

Proof prove_flat(const Capture& capture, const Results& stored, const TuningValues& values, const StepRules& rules) {
    const LensShading* const shading = nearest_entry(stored.lens_shading, capture.taken);
    if (shading == nullptr) {
        throw InputError(stored.file.string() + ": holds no lens shading to prove, expected results of cali lsc");
    }
    Judge judge(rules.limits, {"lens_shading", capture.file, capture.taken});
    check_flat(capture, values.black_level, judge);
    LensShading proved = *shading;
    proved.file = capture.file;
    prove_shading(capture, values.black_level, proved);
    check_flattened(proved, capture.sensor, judge);
    return {describe(proved), judge.take()};
}

Proof prove_grey(const Capture& capture, const TuningValues& values, const SessionPlaces& places,
                 const StepRules& rules) {
    const Window window = places.grey.value_or(default_window(capture.sensor));
    require_grey_window(capture, window);
    Judge judge(rules.limits, {"white_balance", capture.file, capture.taken});
    check_grey(capture, values, window, judge);
    const Colour mean = mean_colour(capture, values, window);
    const Colour neutral = {mean[1], mean[1], mean[1]};
    const auto lab = [](const Colour& linear) { return lab_of_linear_rgb(linear, white_point(kD65)); };
    const double distance = delta_e_2000(lab(mean), lab(neutral));
    judge.hold(Check::grey_neutral, distance);
    Section section;
    section.title = "Grey card: " + capture.file.filename().string() + " over " + to_text(window);
    section.figures = {{"red_over_green", mean[0] / mean[1], ""},
                       {"blue_over_green", mean[2] / mean[1], ""},
                       {"distance_from_neutral", distance, "dE"}};
    section.notes.push_back(text("red over green %.4f, blue over green %.4f, %.2f dE2000 from neutral",
                                 mean[0] / mean[1], mean[2] / mean[1], distance));
    return {section, judge.take()};
}

Proof prove_chart(const Capture& capture, const Results& stored, const TuningValues& values,
                  const SessionPlaces& places, const StepRules& rules) {
    Judge judge(rules.limits, {"colour_matrix", capture.file, capture.taken});
    const ChartPlace place = locate_chart(places.chart, capture, values.black_level);
    check_chart(capture, values, chart_windows(place, capture), judge);
    check_chart_light(capture.taken.illuminant_k, values.gains_k, judge);
    const MatrixCalibration matrix = ValueChooser(stored, rules.forced).matrix(capture.taken);
    const MatrixCalibration proved = prove_matrix(capture, values, matrix, place);
    check_matrix(proved, std::nullopt, judge);
    Section section = describe(proved);
    Table& patches = section.tables.emplace_back();
    patches.columns = {{"patch", 8}, {"dE2000", 10}};
    for (std::size_t i = 0; i < proved.after.de2000.per_patch.size(); ++i) {
        const double difference = proved.after.de2000.per_patch[i];
        patches.rows.push_back({{text("%zu", i + 1), text("%.2f", difference)}, ""});
        section.figures.push_back({text("patch_%zu_de_2000", i + 1), difference, "dE"});
    }
    return {section, judge.take()};
}

}  // namespace

Proof prove(ProofKind kind, const Capture& capture, const Results& stored, const TuningValues& values,
            const SessionPlaces& places, const StepRules& rules) {
    switch (kind) {
        case ProofKind::flat: return prove_flat(capture, stored, values, rules);
        case ProofKind::grey: return prove_grey(capture, values, places, rules);
        default: return prove_chart(capture, stored, values, places, rules);
    }
}

std::string applied_values(const TuningValues& values) {
    const auto& offset = values.black_level.offset;
    std::string line = text("applied: black level %u %u %u %u", offset[kRR], offset[kGR], offset[kGB], offset[kBB]);
    line += values.flat_field.empty() ? "; no mesh" : "; mesh of " + values.flat_field.filename().string();
    line += text("; gains %.4f and %.4f", values.gains.red / 1024.0, values.gains.blue / 1024.0);
    return line + (values.gains_k ? text(" of %g K", *values.gains_k) : "");
}

}  // namespace cali::host
