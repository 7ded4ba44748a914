#include "session/chain.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>

#include "base/error.h"
#include "base/jobs.h"
#include "base/text.h"
#include "captures/burst.h"
#include "results/archive.h"
#include "results/choose_values.h"
#include "results/gain_model.h"
#include "results/merge.h"
#include "results/results_file.h"
#include "results/sections.h"

namespace cali::host {
namespace {

/// What was not asked for stays empty.
void put(Results& made, BlackLevelResults result) { made.black_level.push_back(std::move(result)); }
void put(Results& made, LensShading result) { made.lens_shading.push_back(std::move(result)); }
void put(Results& made, WhiteBalance result) { made.white_balance.push_back(std::move(result)); }
void put(Results& made, CurveResult result) { made.curve = std::move(result); }
void put(Results& made, MatrixCalibration result) { made.matrices.push_back(std::move(result)); }
void put(Results& made, ColourTable result) { made.tables.push_back(std::move(result)); }
void put(Results& made, NoiseResults result) { made.noise.push_back(std::move(result)); }

template <typename T>
Results results_of(Step<T> step) {
    Results made;
    made.findings = std::move(step.findings);
    if (step.result) {
        put(made, std::move(*step.result));
    }
    return made;
}

/// One step: in this process, or in one of its own.
using Work = std::function<Results(const StepRules&, const CaptureRead&)>;
/// Waits for a step's results.
using Finished = std::function<Results()>;

constexpr const char* kInputError = "input_error";
constexpr const char* kCalibrationError = "calibration_error";

class Chain {
public:
    Chain(const Session& session, const ChainPlan& plan, const StepRules& rules, ChainObserver& observer,
          const Results& earlier, Results& made)
        : session_(session), plan_(plan), rules_(rules), observer_(observer), results_(earlier), made_(made) {
        if (rules.jobs > 1) {
            jobs_.emplace(rules.jobs, told_);
        }
    }

    std::optional<std::string> run() {
        if (plan_.does("blc")) {
            each("black_level", [&] { black_level(); });
        }
        std::vector<Finished> noise;  // needs the black level alone, and takes the longest
        if (plan_.does("noise")) {
            noise = begin_noise();
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
            each("noise", [&] { finish_all(noise); });
        }
        show_flat_fields();
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

    [[nodiscard]] Capture read(const CaptureEntry& entry) const {
        return read_entry(entry, session_.geometry, rules_.most_burst_difference());
    }

    /// The results' sensor is that of the first capture that was read; without sides where none was.
    [[nodiscard]] Results carry_out(const Work& work, const StepRules& rules, const Jobs::Tell& tell) const {
        SensorGeometry sensor;
        Results made = work(rules, [&](const CaptureEntry& entry) {
            Capture capture = read(entry);
            if (sensor.width == 0) {
                sensor = capture.sensor;
            }
            for (const InputRecord& frame : capture.inputs) {
                tell(frame.file.string());
            }
            return capture;
        });
        made.sensor = sensor;
        return made;
    }

    /// A step that needs nothing but what is known by now. Without jobs it is done once it is waited for.
    Finished begin(const Work& work) {
        if (!jobs_) {
            return [this, work] { return carry_out(work, rules_, told_); };
        }
        const std::size_t number = jobs_->add([this, work](const Jobs::Tell& tell) { return answer(work, tell); });
        // Who gives the step up gives up the job.
        const std::shared_ptr<void> job(nullptr, [this, number](void*) { jobs_->drop(number); });
        return [this, number, job] { return from_answer(jobs_->wait(number)); };
    }

    /// Results or what went wrong, and in either case what the library printed.
    [[nodiscard]] std::string answer(const Work& work, const Jobs::Tell& tell) const {
        const LibraryOutput output = rules_.output.beside();
        const StepRules rules{output, rules_.limits, rules_.command, rules_.options, rules_.forced, rules_.jobs};
        Json answer;
        try {
            answer["results"] = to_json(carry_out(work, rules, tell), {});
        } catch (const InputError& problem) {
            answer[kInputError] = problem.what();
        } catch (const CalibrationError& problem) {
            answer[kCalibrationError] = problem.what();
        }
        const LibraryOutput::Held printed = output.held();
        answer["printed"] = printed.text;
        answer["lines"] = printed.lines.all;
        answer["warnings"] = printed.lines.warn;
        return answer.pack();
    }
    [[nodiscard]] Results from_answer(const std::string& bytes) const {
        const Json answer = Json::unpack(bytes);
        Archive archive = Archive::reader(answer, {});
        LibraryOutput::Held printed;
        archive.field("printed", printed.text);
        archive.field("lines", printed.lines.all);
        archive.field("warnings", printed.lines.warn);
        rules_.output.take(printed);
        if (const Json* const problem = answer.find(kInputError)) {
            throw InputError(*problem->as<std::string>());
        }
        if (const Json* const problem = answer.find(kCalibrationError)) {
            throw CalibrationError(*problem->as<std::string>());
        }
        return from_json(*answer.find("results"), {});
    }

    template <typename Entry>
    [[nodiscard]] std::vector<Finished> begin_each(const std::vector<Entry>& entries,
                                                   Results (Chain::*step)(const Entry&, const StepRules&,
                                                                          const CaptureRead&) const) {
        std::vector<Finished> begun;
        begun.reserve(entries.size());
        for (const Entry& entry : entries) {
            begun.push_back(begin([this, step, entry](const StepRules& rules, const CaptureRead& read) {
                return (this->*step)(entry, rules, read);
            }));
        }
        return begun;
    }

    /// Keeps the step's findings and results, and shows them.
    void finish(Results made, bool shown = true) {
        if (made.sensor.width > 0 && !sensor_known_) {
            results_.sensor = made.sensor;
            sensor_known_ = true;
        }
        made.sensor = results_.sensor;
        made.limits = rules_.limits;
        if (shown) {
            for_each_section(made, [&](const char*, auto& section) { show(section); });
        }
        observer_.findings(made.findings);
        merge(results_, made);
        merge(made_, std::move(made));
    }
    void finish_all(const std::vector<Finished>& steps) {
        for (const Finished& step : steps) {
            finish(step());
        }
    }

    template <typename AnySection>
    void show(const AnySection& section) {
        for_each_entry(section, [&](const auto& entry) { observer_.section(describe(entry)); });
    }
    void show(const std::vector<WhiteBalance>& cards) {
        if (!cards.empty()) {
            observer_.section(describe(cards));
        }
    }

    void black_level() {
        for (const BlackLevelResults& given : plan_.given) {
            BlackLevelResults result = given;
            result.record.command = rules_.command;
            finish(results_of(Step<BlackLevelResults>{std::move(result), {}}));
        }
        finish_all(begin_each(plan_.dark, &Chain::dark_frames));
    }
    [[nodiscard]] Results dark_frames(const std::pair<Conditions, std::vector<CaptureEntry>>& frames,
                                      const StepRules& rules, const CaptureRead& read) const {
        StepRules own = rules;
        own.jobs /= plan_.dark.size();  // others have their share
        return results_of(black_level_step({frames.second, session_.black_level_method, 0, frames.first}, own, read));
    }

    void lens_shading() {
        const std::vector<Finished> steps = begin_each(session_.flat, &Chain::flat_field);
        for (std::size_t i = 0; i < steps.size(); ++i) {
            Results made = steps[i]();
            for (const LensShading& shading : made.lens_shading) {
                if (shading.record.usable()) {
                    flattened_.emplace_back(shading, session_.flat[i]);
                }
            }
            finish(std::move(made));
        }
    }
    [[nodiscard]] Results flat_field(const CaptureEntry& entry, const StepRules& rules, const CaptureRead& read) const {
        Capture flat = read(entry);
        TuningValues values;
        chooser().black_level(flat.taken, values);
        return results_of(flat_step(flat, values, session_.shading, rules));
    }
    /// Once all steps are done: a decoder that ran in this process, with threads of its own, may hang in copies of it.
    void show_flat_fields() {
        for (const auto& [shading, entry] : flattened_) {
            try {
                show_flat_field(shading, entry);
            } catch (const InputError& problem) {
                stopped_ = stopped_.value_or(problem.what());
            }
        }
    }
    void show_flat_field(const LensShading& shading, const CaptureEntry& entry) {
        TuningValues values;
        chooser().black_level(shading.taken, values);
        observer_.flat_field(shading, values.black_level, [&] {
            Capture flat = read(entry);
            if (!std::ranges::equal(flat.inputs, shading.record.inputs, {}, &InputRecord::digest,
                                    &InputRecord::digest)) {
                throw InputError(entry.file().string() + ": has changed since this run began, expected the same frame");
            }
            return flat;
        });
    }

    void white_balance() {
        std::vector<Finished> steps = begin_each(session_.grey, &Chain::grey_card);
        std::ranges::move(begin_each(charts_for_balance(session_), &Chain::chart_greys), std::back_inserter(steps));
        std::vector<WhiteBalance> cards;  // one table for all
        for (const Finished& step : steps) {
            Results made = step();
            std::ranges::copy(made.white_balance, std::back_inserter(cards));
            finish(std::move(made), false);
        }
        show(cards);
    }
    [[nodiscard]] TuningValues values_before_balance(const Capture& capture) const {
        TuningValues values;
        chooser().black_level(capture.taken, values);
        chooser().grids(capture.taken, values);
        return values;
    }
    [[nodiscard]] Results grey_card(const CaptureEntry& entry, const StepRules& rules, const CaptureRead& read) const {
        Capture grey = read(entry);
        const Window window = session_.white_balance_window.value_or(default_window(grey.sensor));
        return results_of(grey_step(grey, values_before_balance(grey), window, rules));
    }
    /// Read for the matrix, too: told of then.
    [[nodiscard]] Results chart_greys(const CaptureEntry& entry, const StepRules& rules,
                                      const CaptureRead& /*read*/) const {
        Capture chart = read(entry);
        return results_of(chart_greys_step(chart, values_before_balance(chart), session_.matrix.place, rules));
    }

    void curve() {
        const std::vector<WhiteBalance> lights = chooser().lights();
        const std::size_t known_lights = curve_lights(lights).size();
        if (known_lights >= kLeastCurveLights && known_lights <= kMostCurveLights) {
            finish(results_of(curve_step(lights, session_.file, rules_)));
        }
    }

    void matrices() { finish_all(begin_each(session_.chart, &Chain::chart)); }
    /// Behind the values of the nearest lights.
    [[nodiscard]] Results chart(const CaptureEntry& entry, const StepRules& rules, const CaptureRead& read) const {
        Capture chart = read(entry);
        TuningValues values = values_before_balance(chart);
        if (session_.matrix.method != MatrixMethod::joint && !chooser().nearest_gains(chart.taken, values)) {
            throw CalibrationError("no white balance is known");
        }
        return results_of(chart_step(chart, values, session_.matrix, rules));
    }

    void tables() {
        std::vector<MatrixCalibration> matrices;
        for (const MatrixCalibration& matrix : results_.matrices) {
            if (rules_.forced || matrix.record.usable()) {
                matrices.push_back(matrix);
            } else {
                observer_.not_done("colour_table",
                                   matrix.file.filename().string() + ": its colour matrix was rejected");
            }
        }
        const std::vector<Finished> steps = begin_each(matrices, &Chain::table);
        for (std::size_t i = 0; i < steps.size(); ++i) {
            Results made = steps[i]();
            observer_.table_done(matrices[i].file, matrices.size());
            finish(std::move(made));
        }
    }
    [[nodiscard]] Results table(const MatrixCalibration& matrix, const StepRules& rules,
                                const CaptureRead& /*read*/) const {
        return results_of(table_step(matrix, {}, rules));
    }

    [[nodiscard]] std::vector<Finished> begin_noise() { return begin_each(plan_.series, &Chain::series); }
    [[nodiscard]] Results series(const std::pair<Conditions, std::vector<SeriesLevel>>& series, const StepRules& rules,
                                 const CaptureRead& read) const {
        TuningValues values;
        chooser().black_level(series.first, values);
        SensorGeometry sensor;
        return results_of(
            noise_step({series.second, session_.geometry, values, session_.noise, sensor, series.first}, rules, read));
    }

    const Session& session_;
    const ChainPlan& plan_;
    const StepRules& rules_;
    ChainObserver& observer_;
    Results results_;  ///< what is known so far
    Results& made_;
    bool sensor_known_ = false;
    std::optional<std::string> stopped_;
    std::vector<std::pair<LensShading, CaptureEntry>> flattened_;
    const Jobs::Tell told_ = [this](const std::string& frame) { observer_.capture_read(path_of(frame)); };
    std::optional<Jobs> jobs_;
};

}  // namespace

std::optional<std::string> run_chain(const Session& session, const ChainPlan& plan, const StepRules& rules,
                                     ChainObserver& observer, const Results& earlier, Results& made) {
    made.limits = rules.limits;
    return Chain(session, plan, rules, observer, earlier, made).run();
}

}  // namespace cali::host
