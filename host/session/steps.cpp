#include "session/steps.h"

#include <algorithm>
#include <future>
#include <iterator>
#include <utility>

#include "base/error.h"
#include "base/text.h"
#include "captures/burst.h"
#include "checks/chart_checks.h"
#include "checks/curve_checks.h"
#include "checks/dark_checks.h"
#include "checks/flat_checks.h"
#include "checks/grey_checks.h"
#include "checks/noise_checks.h"
#include "checks/table_checks.h"
#include "detection/locate_chart.h"
#include "results/choose_values.h"
#include "results/value_digest.h"

namespace cali::host {
namespace {

void take_warnings(Judge& judge, const LibraryOutput& output) {
    for (const std::string& warning : output.take_warnings()) {
        judge.say(Check::operator_warning, Severity::warn, warning);
    }
}

void check_burst(const Capture& capture, Judge& judge) {
    for (const LeftOutFrame& frame : capture.left_out) {
        judge.hold(Check::burst_frame, frame.difference * 100, frame.file.filename().string());
    }
}

/// What comes of a capture behind values: its inputs and what is in force.
Record made_of(const Capture& capture, const TuningValues* values) {
    Record made;
    made.inputs = capture.inputs;
    made.mono = capture.sensor.mono;
    made.in_force = capture.settings;
    // What the file states of it gives way to the one that is applied, or measured.
    std::erase_if(made.in_force, [](const Setting& setting) { return setting.name == "black level"; });
    if (values != nullptr) {
        made.values = values->origin;
        const auto& offset = values->black_level.offset;
        made.in_force.push_back(
            {"black level",
             text("%u %u %u %u codes of %d bits", offset[kRR], offset[kGR], offset[kGB], offset[kBB], kLibraryBits),
             values->black_source});
    }
    return made;
}

/// Computes, judges what came out, and settles whether it may be applied. A capture that gives no values is a finding.
template <typename T, typename Compute, typename Check>
Step<T> carry_out(Judge judge, const StepRules& rules, Record made, Compute compute, Check check) {
    Step<T> step;
    try {
        step.result = compute(judge);
        take_warnings(judge, rules.output);
        check(*step.result, judge);
    } catch (const CalibrationError& problem) {
        take_warnings(judge, rules.output);
        judge.say(host::Check::not_computed, Severity::fail, problem.what());
    }
    step.findings = judge.take();
    const bool failed = worst(step.findings) == Severity::fail;
    if (step.result) {
        Record& record = step.result->record;
        // What the calibration read itself stands behind the capture.
        std::ranges::move(record.inputs, std::back_inserter(made.inputs));
        std::ranges::move(record.in_force, std::back_inserter(made.in_force));
        record = std::move(made);
        record.standing = !failed ? Standing::passed : rules.forced ? Standing::forced : Standing::rejected;
        record.command = rules.command;
        record.options = rules.options;
    }
    if (failed && rules.forced && step.result) {
        for (Finding& finding : step.findings) {
            if (finding.severity == Severity::fail) {
                finding.severity = Severity::warn;
                finding.message +=
                    (finding.message.empty() ? "" : "; ") + std::string("applied all the same (--force)");
            }
        }
    }
    return step;
}

}  // namespace

Step<BlackLevelResults> black_level_step(const BlackLevelRequest& request, const StepRules& rules,
                                         const CaptureRead& read) {
    std::vector<DarkFrameLevels> frames;
    std::vector<DarkMeasures> measures;
    Record made;
    std::optional<Channels<double>> stated;
    std::vector<Finding> findings;
    for (const CaptureEntry& entry : request.entries) {
        Capture dark = read(entry);
        Judge judge(rules.limits, {"black_level", entry.file(), request.taken});
        check_burst(dark, judge);
        const Histogram histogram(dark.view());
        // Only looks at the frame, as the library does.
        auto checked = std::async(rules.jobs > 1 ? std::launch::async | std::launch::deferred : std::launch::deferred,
                                  [&] { return check_dark(dark, histogram, judge); });
        std::string problem;
        try {
            frames.push_back(measure_dark_frame(dark, histogram, request.blocks, rules.output));
        } catch (const CalibrationError& found) {
            problem = found.what();
        }
        measures.push_back(checked.get());
        if (!problem.empty()) {
            judge.say(Check::not_computed, Severity::fail, problem);
        }
        take_warnings(judge, rules.output);
        std::ranges::move(judge.take(), std::back_inserter(findings));
        if (made.inputs.empty()) {
            made = made_of(dark, nullptr);
            stated = stated_black_level(dark);
        } else {
            std::ranges::move(dark.inputs, std::back_inserter(made.inputs));
        }
    }
    const bool mono = made.mono;
    Judge judge(rules.limits, {"black_level", {}, request.taken});
    judge.add(std::move(findings));
    check_dark_frames(measures, judge);
    return carry_out<BlackLevelResults>(
        std::move(judge), rules, std::move(made),
        [&](Judge&) {
            if (frames.size() != request.entries.size()) {
                throw CalibrationError("a dark frame gave no levels");
            }
            BlackLevelResults results = combine(std::move(frames), request.method, mono);
            for (std::size_t i = 0; i < measures.size(); ++i) {
                results.frames[i].measures = std::move(measures[i]);
            }
            results.taken = request.taken;
            return results;
        },
        [&](const BlackLevelResults& results, Judge& own) {
            if (stated) {
                Measured worst;
                for (std::size_t c = 0; c < stated->size(); ++c) {
                    const double distance = std::abs(results.mean[c].value - (*stated)[c]);
                    if (distance >= worst.value) {
                        worst = {distance, results.mean[c].uncertainty};
                    }
                }
                own.hold(Check::stated_black, worst.value, "", known(worst.uncertainty));
            }
        });
}

Step<LensShading> flat_step(Capture& flat, const TuningValues& values, const ShadingSettings& settings,
                            const StepRules& rules) {
    Judge judge(rules.limits, {"lens_shading", flat.file, flat.taken});
    check_burst(flat, judge);
    check_flat(flat, values.black_level, judge);
    const SensorGeometry sensor = flat.sensor;
    return carry_out<LensShading>(
        std::move(judge), rules, made_of(flat, &values),
        [&](Judge&) {
            LensShading shading = calibrate_flat_field(flat, values.black_level, settings, rules.output);
            shading.taken = flat.taken;
            return shading;
        },
        [&](const LensShading& shading, Judge& own) { check_flattened(shading, sensor, own); });
}

Step<WhiteBalance> grey_step(Capture& grey, const TuningValues& values, const Window& window, const StepRules& rules) {
    Judge judge(rules.limits, {"white_balance", grey.file, grey.taken});
    check_burst(grey, judge);
    require_grey_window(grey, window);
    check_grey(grey, values, window, judge);
    return carry_out<WhiteBalance>(
        std::move(judge), rules, made_of(grey, &values),
        [&](Judge&) {
            WhiteBalance balance = measure_grey_card(grey, values, window, rules.output);
            balance.taken = grey.taken;
            return balance;
        },
        [](const WhiteBalance&, Judge&) {});
}

Step<WhiteBalance> chart_greys_step(Capture& chart, const TuningValues& values, const ChartPlace& place,
                                    const StepRules& rules) {
    Judge judge(rules.limits, {"white_balance", chart.file, chart.taken});
    check_burst(chart, judge);
    return carry_out<WhiteBalance>(
        std::move(judge), rules, made_of(chart, &values),
        [&](Judge& own) {
            const ChartWindows windows = chart_windows(locate_chart(place, chart, values.black_level), chart);
            check_chart(chart, values, windows, own);
            WhiteBalance balance = measure_chart_greys(chart, values, windows, rules.output);
            balance.taken = chart.taken;
            return balance;
        },
        [](const WhiteBalance&, Judge&) {});
}

Step<CurveResult> curve_step(const std::vector<WhiteBalance>& lights, const std::filesystem::path& file,
                             const StepRules& rules) {
    Record made;
    std::ranges::transform(curve_lights(lights), std::back_inserter(made.values),
                           [](const WhiteBalance& light) { return value_record(light); });
    return carry_out<CurveResult>(
        Judge(rules.limits, {"white_balance_curve", {}, {}}), rules, std::move(made),
        [&](Judge&) { return fit_curve(lights, file, rules.output); },
        [](const CurveResult& curve, Judge& own) { check_curve(curve, own); });
}

Step<MatrixCalibration> chart_step(Capture& chart, const TuningValues& values, const MatrixSettings& settings,
                                   const StepRules& rules) {
    Judge judge(rules.limits, {"colour_matrix", chart.file, chart.taken});
    check_burst(chart, judge);
    MatrixSettings located = settings;
    try {
        located.place = locate_chart(settings.place, chart, values.black_level);
    } catch (const CalibrationError& problem) {
        judge.say(Check::not_computed, Severity::fail, problem.what());
        return {{}, judge.take()};
    }
    check_chart(chart, values, chart_windows(located.place, chart), judge);
    if (settings.method != MatrixMethod::joint) {
        check_chart_light(chart.taken.illuminant_k, values.gains_k, judge);
    }
    return carry_out<MatrixCalibration>(
        std::move(judge), rules, made_of(chart, &values),
        [&](Judge&) {
            MatrixCalibration matrix = calibrate_matrix(chart, values, located, rules.output);
            matrix.taken = chart.taken;
            return matrix;
        },
        [](const MatrixCalibration& matrix, Judge& own) { check_matrix(matrix, matrix.leave_one_out, own); });
}

Step<ColourTable> table_step(const MatrixCalibration& matrix, const ColourTableSettings& settings,
                             const StepRules& rules) {
    Record made;
    made.values = {value_record(matrix)};
    return carry_out<ColourTable>(
        Judge(rules.limits, {"colour_table", matrix.file, matrix.taken}), rules, std::move(made),
        [&](Judge&) { return calibrate_table(table_input(matrix), settings, rules.output); },
        [](const ColourTable& table, Judge& own) { check_table(table, own); });
}

Step<NoiseResults> noise_step(const NoiseRequest& request, const StepRules& rules, const CaptureRead& read) {
    Judge judge(rules.limits, {"noise", {}, request.taken});
    Record made;
    std::vector<MeasuredLevel> levels;
    const auto measure = [&](std::size_t level, const Capture& frame, const Window& window) {
        if (!request.levels[level].gain) {
            require_same_gain(frame, request.taken.gain, "that of the series");
        }
        if (level == levels.size()) {
            levels.push_back({text("level %zu", level + 1), {}});
        }
        levels[level].frames.push_back(measure_series_frame(frame, window, request.values.black_level));
        if (made.inputs.empty()) {
            made = made_of(frame, &request.values);
        } else {
            std::ranges::copy(frame.inputs, std::back_inserter(made.inputs));
        }
    };
    // The inputs are known once the series was read.
    Step<NoiseResults> step = carry_out<NoiseResults>(
        std::move(judge), rules, {},
        [&](Judge& own) {
            const auto check = [&] { check_series(levels, request.sensor, request.values.black_level, own); };
            try {
                NoiseResults noise =
                    calibrate_noise({request.levels, request.geometry, read}, request.values.black_level,
                                    request.settings, rules.output, measure, request.sensor);
                noise.taken = request.taken;
                check();
                return noise;
            } catch (const CalibrationError&) {
                check();  // it tells why
                throw;
            }
        },
        [&](const NoiseResults& noise, Judge& own) { check_noise(noise, request.sensor, own); });
    if (step.result) {
        Record& record = step.result->record;
        record.inputs = std::move(made.inputs);
        record.values = std::move(made.values);
        record.in_force = std::move(made.in_force);
        record.mono = made.mono;
    }
    return step;
}

}  // namespace cali::host
