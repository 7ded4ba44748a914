#include "session/chain.h"

#include <algorithm>

#include "base/error.h"
#include "captures/burst.h"
#include "captures/capture_queue.h"
#include "results/choose_values.h"
#include "results/gain_model.h"
#include "results/merge.h"
#include "results/sections.h"

namespace cali::host {
namespace {

class Chain {
public:
    Chain(const Session& session, const ChainPlan& plan, const StepRules& rules, ChainObserver& observer,
          const Results& earlier, Results& made)
        : session_(session),
          plan_(plan),
          rules_(rules),
          observer_(observer),
          results_(earlier),
          made_(made),
          queue_(
              order(),
              [this](const CaptureEntry& entry) {
                  return read_entry(entry, session_.geometry, rules_.most_burst_difference());
              },
              rules.jobs - 1) {}

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
        if (const auto model = gain_model(results_); model && (plan_.does("blc") || plan_.does("noise"))) {
            observer_.section(describe(*model));
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

    [[nodiscard]] Capture read(const CaptureEntry& entry) {
        Capture capture = queue_.take(entry);
        seen(capture);
        return capture;
    }

    /// In which the parts read.
    [[nodiscard]] std::vector<CaptureEntry> order() const {
        std::vector<CaptureEntry> entries;
        const auto add = [&](const char* part, const std::vector<CaptureEntry>& more) {
            if (plan_.does(part)) {
                entries.insert(entries.end(), more.begin(), more.end());
            }
        };
        for (const auto& [taken, dark] : plan_.dark) {
            add("blc", dark);
        }
        add("lsc", session_.flat);
        add("awb", session_.grey);
        add("awb", charts_for_balance(session_));
        add("ccm", session_.chart);
        for (const auto& [taken, levels] : plan_.series) {
            for (const SeriesLevel& level : levels) {
                for (const std::filesystem::path& file : level.files) {
                    add("noise", {{{file}, {}, {}}});
                }
            }
        }
        return entries;
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
        for (const BlackLevelResults& given : plan_.given) {
            Step<BlackLevelResults> step{given, {}};
            step.result->record.command = rules_.command;
            finish(step,
                   [](Results& made, BlackLevelResults result) { made.black_level.push_back(std::move(result)); });
        }
        for (const auto& [taken, entries] : plan_.dark) {
            Step<BlackLevelResults> step =
                black_level_step({entries, session_.black_level_method, 0, taken}, rules_, read_);
            finish(step,
                   [](Results& made, BlackLevelResults result) { made.black_level.push_back(std::move(result)); });
        }
    }

    void lens_shading() {
        for (const CaptureEntry& entry : session_.flat) {
            Capture flat = read(entry);
            TuningValues values;
            chooser().black_level(flat.taken, values);
            Step<LensShading> step = flat_step(flat, values, session_.shading, rules_);
            if (step.usable()) {
                observer_.flat_field(*step.result, flat);
            }
            finish(step, [](Results& made, LensShading result) { made.lens_shading.push_back(std::move(result)); });
        }
    }

    void white_balance() {
        std::vector<WhiteBalance> cards;  // one table for all
        const auto keep = [&](Step<WhiteBalance> step) {
            if (step.result) {
                cards.push_back(*step.result);
            }
            finish(
                step, [](Results& made, WhiteBalance result) { made.white_balance.push_back(std::move(result)); },
                false);
        };
        const auto values_for = [&](const Capture& capture) {
            TuningValues values;
            chooser().black_level(capture.taken, values);
            chooser().grids(capture.taken, values);
            return values;
        };
        for (const CaptureEntry& entry : session_.grey) {
            Capture grey = read(entry);
            const Window window = session_.white_balance_window.value_or(default_window(grey.sensor));
            keep(grey_step(grey, values_for(grey), window, rules_));
        }
        for (const CaptureEntry& entry : charts_for_balance(session_)) {
            Capture chart = queue_.take(entry);
            keep(chart_greys_step(chart, values_for(chart), session_.matrix.place, rules_));
        }
        if (!cards.empty()) {
            observer_.section(describe(cards));
        }
    }

    void curve() {
        const std::vector<WhiteBalance> lights = chooser().lights();
        const std::size_t known_lights = curve_lights(lights).size();
        if (known_lights >= kLeastCurveLights && known_lights <= kMostCurveLights) {
            Step<CurveResult> step = curve_step(lights, session_.file, rules_);
            finish(step, [](Results& made, CurveResult result) { made.curve = std::move(result); });
        }
    }

    /// Charts, each behind the values of the nearest lights.
    void matrices() {
        for (const CaptureEntry& entry : session_.chart) {
            Capture chart = read(entry);
            TuningValues values;
            chooser().black_level(chart.taken, values);
            chooser().grids(chart.taken, values);
            if (session_.matrix.method != MatrixMethod::joint && !chooser().nearest_gains(chart.taken, values)) {
                throw CalibrationError("no white balance is known");
            }
            Step<MatrixCalibration> step = chart_step(chart, values, session_.matrix, rules_);
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
            observer_.table_done(matrix.file, matrices.size());
            finish(step, [](Results& made, ColourTable result) { made.tables.push_back(std::move(result)); });
        }
    }

    void noise() {
        for (const auto& [taken, levels] : plan_.series) {
            TuningValues values;
            chooser().black_level(taken, values);
            SensorGeometry sensor;
            Step<NoiseResults> step =
                noise_step({levels, session_.geometry, values, session_.noise, sensor, taken}, rules_, read_);
            finish(step, [](Results& made, NoiseResults result) { made.noise.push_back(std::move(result)); });
        }
    }

    const Session& session_;
    const ChainPlan& plan_;
    const StepRules& rules_;
    ChainObserver& observer_;
    Results results_;  ///< what is known so far
    Results& made_;
    bool sensor_known_ = false;
    std::optional<std::string> stopped_;
    CaptureQueue queue_;
    const CaptureRead read_ = [this](const CaptureEntry& entry) { return read(entry); };
};

}  // namespace

std::optional<std::string> run_chain(const Session& session, const ChainPlan& plan, const StepRules& rules,
                                     ChainObserver& observer, const Results& earlier, Results& made) {
    made.limits = rules.limits;
    return Chain(session, plan, rules, observer, earlier, made).run();
}

}  // namespace cali::host
