#include "session/chain.h"

#include <algorithm>

#include "base/error.h"
#include "base/text.h"
#include "captures/read_capture.h"
#include "results/choose_values.h"
#include "results/merge.h"
#include "results/sections.h"

namespace cali::host {
namespace {

/// A section that is missing and why, with its name on the command line.
struct Need {
    const char* part;
    const char* section;
    bool possible;
    const char* missing;
};

void require_one_per_light(const std::vector<LitCapture>& captures, const std::string& kind, const Session& session) {
    for (std::size_t i = 0; i < captures.size(); ++i) {
        for (std::size_t k = 0; k < i; ++k) {
            if (captures[i].illuminant_k && captures[i].illuminant_k == captures[k].illuminant_k) {
                throw InputError(session.file.string() + ": captures: " + kind + ": " + captures[k].file.string() +
                                 " and " + captures[i].file.string() +
                                 text(" are both of %g K, expected one for a light", *captures[i].illuminant_k));
            }
        }
    }
}

class Chain {
public:
    Chain(const Session& session, const ChainPlan& plan, const StepRules& rules, ChainObserver& observer,
          const Results& earlier, Results& made)
        : session_(session), plan_(plan), rules_(rules), observer_(observer), results_(earlier), made_(made) {}

    std::optional<std::string> run() {
        if (plan_.does("blc")) {
            each("black_level", [&] { black_level(); });
        }
        if (plan_.does("lsc")) {
            each("lens_shading", [&] { lens_shading(); });
        }
        if (plan_.does("awb")) {
            each("white_balance", [&] { white_balance(); });
            each("white_balance_curve", [&] { curve(); });
        }
        if (plan_.does("ccm")) {
            each("colour_matrix", [&] { matrices(); });
        }
        if (plan_.does("clut")) {
            each("colour_table", [&] { tables(); });
        }
        if (plan_.does("noise")) {
            each("noise", [&] { noise(); });
        }
        return stopped_;
    }

private:
    /// What needs a rejected value is not done; the rest is.
    template <typename Do>
    void each(const char* section, Do carry_out) {
        try {
            carry_out();
        } catch (const CalibrationError& problem) {
            observer_.not_done(section, problem.what());
            if (plan_.asked) {
                Judge judge(rules_.limits, {section, "", {}});
                judge.say(Check::not_computed, Severity::fail, problem.what());
                observer_.findings(judge.findings());
                made_.findings.push_back(judge.findings().front());
            }
        } catch (const InputError& problem) {
            observer_.not_done(section, problem.what());
            stopped_ = stopped_.value_or(problem.what());
        }
    }

    [[nodiscard]] ValueChooser chooser() const { return {results_, rules_.forced}; }

    void seen(const Capture& capture) {
        if (!sensor_known_) {
            results_.sensor = capture.sensor;
            sensor_known_ = true;
        }
        observer_.capture_read(capture);
    }

    [[nodiscard]] Capture read(const std::filesystem::path& file) {
        Capture capture = read_capture(file, session_.geometry);
        seen(capture);
        return capture;
    }

    /// Keeps the step's findings and result, and shows them.
    template <typename T, typename Keep>
    void finish(Step<T>& step, Keep keep, bool shown = true) {
        Results made;
        made.sensor = results_.sensor;
        made.limits = rules_.limits;
        made.findings = step.findings;
        if (step.result) {
            if (shown) {
                show(*step.result);
            }
            keep(made, std::move(*step.result));
        }
        observer_.findings(step.findings);
        merge(results_, made);
        merge(made_, std::move(made));
    }

    template <typename T>
    void show(const T& result) {
        observer_.section(describe(result));
    }
    void show(const WhiteBalance& result) { observer_.section(describe(std::vector{result})); }

    void black_level() {
        if (session_.black_level_offset) {
            const int bits = session_.geometry.bits.value_or(kLibraryBits);
            Step<BlackLevelResults> step{given_black_level(*session_.black_level_offset, bits), {}};
            step.result->record.command = rules_.command;
            finish(step, [](Results& made, BlackLevelResults result) { made.black_level = std::move(result); });
            return;
        }
        Step<BlackLevelResults> step =
            black_level_step({session_.dark, session_.black_level_method, 0}, session_.geometry, rules_,
                             [&](const Capture& dark) { seen(dark); });
        finish(step, [](Results& made, BlackLevelResults result) { made.black_level = std::move(result); });
    }

    void lens_shading() {
        for (const LitCapture& lit : session_.flat) {
            TuningValues values;
            chooser().black_level(values);
            Capture flat = read(lit.file);
            const SensorGeometry sensor = flat.sensor;
            CorrectedFlat corrected;
            Step<LensShading> step = flat_step(flat, lit.illuminant_k, values, session_.shading, rules_, corrected);
            if (step.usable()) {
                observer_.flat_field(*step.result, sensor, corrected);
            }
            finish(step, [](Results& made, LensShading result) { made.lens_shading.push_back(std::move(result)); });
        }
    }

    void white_balance() {
        std::vector<WhiteBalance> cards;  // one table for all
        for (const LitCapture& lit : session_.grey) {
            TuningValues values;
            chooser().black_level(values);
            chooser().grids(lit.illuminant_k, values);
            Capture grey = read(lit.file);
            const Window window = session_.white_balance_window.value_or(default_window(grey.sensor));
            Step<WhiteBalance> step = grey_step(grey, lit.illuminant_k, values, window, rules_);
            if (step.result) {
                cards.push_back(*step.result);
            }
            finish(
                step, [](Results& made, WhiteBalance result) { made.white_balance.push_back(std::move(result)); },
                false);
        }
        if (!cards.empty()) {
            observer_.section(describe(cards));
        }
    }

    void curve() {
        const std::vector<WhiteBalance> lights = chooser().lights();
        const auto known_lights = static_cast<std::size_t>(
            std::ranges::count_if(lights, [](const WhiteBalance& entry) { return entry.illuminant_k.has_value(); }));
        if (known_lights >= kLeastCurveLights && known_lights <= kMostCurveLights) {
            Step<CurveResult> step = curve_step(lights, session_.file, rules_);
            finish(step, [](Results& made, CurveResult result) { made.curve = std::move(result); });
        }
    }

    /// Charts, each behind the values of the nearest lights.
    void matrices() {
        for (const LitCapture& lit : session_.chart) {
            TuningValues values;
            chooser().black_level(values);
            chooser().grids(lit.illuminant_k, values);
            if (session_.matrix.method != MatrixMethod::joint && !chooser().nearest_gains(lit.illuminant_k, values)) {
                throw CalibrationError("no white balance is known");
            }
            Capture chart = read(lit.file);
            Step<MatrixCalibration> step = chart_step(chart, lit.illuminant_k, values, session_.matrix, rules_);
            finish(step, [](Results& made, MatrixCalibration result) { made.matrices.push_back(std::move(result)); });
        }
    }

    void tables() {
        const std::vector<MatrixCalibration> matrices = results_.matrices;
        for (const MatrixCalibration& matrix : matrices) {
            if (!rules_.forced && matrix.record.standing == Standing::rejected) {
                observer_.not_done("colour_table",
                                   matrix.file.filename().string() + ": its colour matrix was rejected");
                continue;
            }
            Step<ColourTable> step = table_step(matrix, {}, rules_);
            finish(step, [](Results& made, ColourTable result) { made.tables.push_back(std::move(result)); });
        }
    }

    void noise() {
        TuningValues values;
        chooser().black_level(values);
        SensorGeometry sensor;
        Step<NoiseResults> step = noise_step({session_.series, session_.geometry, values, session_.noise, sensor},
                                             rules_, [&](const Capture& frame) { seen(frame); });
        finish(step, [](Results& made, NoiseResults result) { made.noise = std::move(result); });
    }

    const Session& session_;
    const ChainPlan& plan_;
    const StepRules& rules_;
    ChainObserver& observer_;
    Results results_;  ///< what is known so far
    Results& made_;
    bool sensor_known_ = false;
    std::optional<std::string> stopped_;
};

}  // namespace

ChainPlan plan_chain(const Session& session, const std::vector<std::string>& only, const Results& earlier) {
    require_one_per_light(session.flat, "flat", session);
    require_one_per_light(session.grey, "grey", session);
    require_one_per_light(session.chart, "chart", session);
    const bool all = only.empty();
    const auto asked = [&](const char* part) { return all || std::ranges::find(only, part) != only.end(); };
    const bool black = !session.dark.empty() || session.black_level_offset || (!all && earlier.black_level);
    const bool gains = (asked("awb") && !session.grey.empty()) || !earlier.white_balance.empty() ||
                       session.matrix.method == MatrixMethod::joint;
    const bool charts = !session.chart.empty() && gains;
    constexpr const char* kNoBlack =
        "no dark frame ([captures] dark), nor a black level by number ([black_level] offset)";
    const std::vector<Need> needs = {
        {"blc", "black_level", !session.dark.empty() || session.black_level_offset.has_value(), kNoBlack},
        {"lsc", "lens_shading", black && !session.flat.empty(), black ? "no flat field ([captures] flat)" : kNoBlack},
        {"awb", "white_balance", black && !session.grey.empty(), black ? "no grey card ([captures] grey)" : kNoBlack},
        {"ccm", "colour_matrix", black && charts,
         !black                  ? kNoBlack
         : session.chart.empty() ? "no chart ([captures] chart)"
                                 : "no grey card ([captures] grey), nor the colour matrix's method joint"},
        {"clut", "colour_table", (asked("ccm") && black && charts) || !earlier.matrices.empty(), "no colour matrix"},
        {"noise", "noise", black && !session.series.empty(), black ? "no series ([captures] series)" : kNoBlack},
    };
    ChainPlan plan;
    plan.asked = !all;
    for (const Need& need : needs) {
        if (!asked(need.part)) {
            continue;
        }
        if (need.possible) {
            plan.parts.insert(need.part);
        } else if (all) {
            plan.left_out.emplace_back(need.section, need.missing);
        } else {
            throw InputError(session.file.string() + ": --only " + need.part + ": " + need.missing);
        }
    }
    if (plan.parts.empty()) {
        throw InputError(session.file.string() + ": nothing can be calibrated: " + plan.left_out.front().second);
    }
    const auto add = [&](const std::vector<LitCapture>& captures) {
        for (const LitCapture& lit : captures) {
            plan.captures.push_back(lit.file);
        }
    };
    if (plan.does("blc") && !session.black_level_offset) {
        plan.captures = session.dark;
    }
    for (const auto& [part, captures] :
         {std::pair("lsc", &session.flat), std::pair("awb", &session.grey), std::pair("ccm", &session.chart)}) {
        if (plan.does(part)) {
            add(*captures);
        }
    }
    if (plan.does("noise")) {
        for (const SeriesLevel& level : session.series) {
            plan.captures.insert(plan.captures.end(), level.files.begin(), level.files.end());
        }
    }
    return plan;
}

std::vector<std::pair<std::filesystem::path, SensorGeometry>> check_captures(const Session& session,
                                                                             const ChainPlan& plan) {
    std::vector<std::pair<std::filesystem::path, SensorGeometry>> found;
    const auto is_one_of = [](const std::vector<LitCapture>& captures, const std::filesystem::path& file) {
        return std::ranges::find(captures, file, &LitCapture::file) != captures.end();
    };
    for (const std::filesystem::path& file : plan.captures) {
        const Capture capture = probe_capture(file, session.geometry);
        if (plan.does("ccm") && session.matrix.place.stated() && is_one_of(session.chart, file)) {
            (void)chart_windows(session.matrix.place, capture);
        }
        if (plan.does("awb") && is_one_of(session.grey, file) && session.white_balance_window) {
            require_grey_window(capture, *session.white_balance_window);
        }
        found.emplace_back(file, capture.sensor);
    }
    return found;
}

std::optional<std::string> run_chain(const Session& session, const ChainPlan& plan, const StepRules& rules,
                                     ChainObserver& observer, const Results& earlier, Results& made) {
    made.limits = rules.limits;
    return Chain(session, plan, rules, observer, earlier, made).run();
}

}  // namespace cali::host
