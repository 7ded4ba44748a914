#include "session/chain.h"

#include <algorithm>

#include "base/error.h"
#include "base/text.h"
#include "captures/burst.h"
#include "captures/read_capture.h"
#include "results/choose_values.h"
#include "results/gain_model.h"
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

void require_one_each(const std::vector<CaptureEntry>& captures, const std::string& kind, const Session& session) {
    std::vector<std::pair<Conditions, std::filesystem::path>> seen;
    for (const CaptureEntry& capture : captures) {
        const Conditions taken = conditions_of(capture, session.geometry);
        if (!taken.illuminant_k) {
            continue;
        }
        for (const auto& [other, file] : seen) {
            if (other == taken) {
                throw InputError(session.file.string() + ": captures: " + kind + ": " + file.string() + " and " +
                                 capture.file().string() + " are both of " + to_text(taken) +
                                 ", expected one for a light and gain, or a burst: files = [...]");
            }
        }
        seen.emplace_back(taken, capture.file());
    }
}

/// Everything but dark frames.
std::vector<CaptureEntry> lit_captures(const Session& session) {
    std::vector<CaptureEntry> captures;
    for (const auto* const entries : {&session.flat, &session.grey, &session.chart}) {
        captures.insert(captures.end(), entries->begin(), entries->end());
    }
    for (const SeriesLevel& level : session.series) {
        if (!level.files.empty()) {
            captures.push_back({level.files, {{}, level.gain}, {}});
        }
    }
    return captures;
}

bool is_mono(const Session& session) {
    std::vector<CaptureEntry> captures = lit_captures(session);
    captures.insert(captures.end(), session.dark.begin(), session.dark.end());
    const auto first = captures.empty() ? std::nullopt : try_probe(captures.front(), session.geometry);
    return first && first->sensor.mono;
}

/// By the session, or else by the files themselves, one for a gain; none where dark frames tell.
std::vector<BlackLevelResults> given_black_levels(const Session& session) {
    const std::vector<CaptureEntry> captures = lit_captures(session);
    if (session.black_level_offset) {
        const auto first = captures.empty() ? std::nullopt : try_probe(captures.front(), session.geometry);
        const int bits = session.geometry.bits.value_or(first ? first->sensor.bits : kLibraryBits);
        return {given_black_level(*session.black_level_offset, bits, Source::session)};
    }
    std::vector<BlackLevelResults> given;
    if (!session.dark.empty()) {
        return given;
    }
    for (const auto& [taken, entries] :
         by_gain(captures, [&](const CaptureEntry& entry) { return conditions_of(entry, session.geometry).gain; })) {
        const std::optional<Capture> capture = try_probe(entries.front(), session.geometry);
        if (capture && capture->metadata.black_level) {
            given.push_back(given_black_level(*capture->metadata.black_level, capture->sensor.bits, Source::metadata));
            given.back().taken = taken;
        }
    }
    return given;
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
        Capture capture = read_entry(entry, session_.geometry, rules_.most_burst_difference());
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
        for (const BlackLevelResults& given : plan_.given) {
            Step<BlackLevelResults> step{given, {}};
            step.result->record.command = rules_.command;
            finish(step,
                   [](Results& made, BlackLevelResults result) { made.black_level.push_back(std::move(result)); });
        }
        for (const auto& [taken, entries] : plan_.dark) {
            Step<BlackLevelResults> step =
                black_level_step({entries, session_.black_level_method, 0, taken}, session_.geometry, rules_, read_);
            finish(step,
                   [](Results& made, BlackLevelResults result) { made.black_level.push_back(std::move(result)); });
        }
    }

    void lens_shading() {
        for (const CaptureEntry& entry : session_.flat) {
            Capture flat = read(entry);
            TuningValues values;
            chooser().black_level(flat.taken, values);
            const SensorGeometry sensor = flat.sensor;
            CorrectedFlat corrected;
            Step<LensShading> step = flat_step(flat, values, session_.shading, rules_, corrected);
            if (step.usable()) {
                observer_.flat_field(*step.result, sensor, corrected);
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
            Capture chart = read_entry(entry, session_.geometry, rules_.most_burst_difference());
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
    const CaptureRead read_ = [this](const Capture& capture) { seen(capture); };
};

}  // namespace

std::vector<CaptureEntry> charts_for_balance(const Session& session) {
    std::vector<CaptureEntry> charts;
    if (session.matrix.method == MatrixMethod::joint) {
        return charts;
    }
    std::ranges::copy_if(session.chart, std::back_inserter(charts), [&](const CaptureEntry& chart) {
        return chart.taken.illuminant_k
                   ? std::ranges::none_of(
                         session.grey,
                         [&](const CaptureEntry& grey) { return grey.taken.illuminant_k == chart.taken.illuminant_k; })
                   : session.grey.empty();
    });
    return charts;
}

ChainPlan plan_chain(const Session& session, const std::vector<std::string>& only, const Results& earlier) {
    const bool all = only.empty();
    const auto asked = [&](const char* part) { return all || std::ranges::find(only, part) != only.end(); };
    ChainPlan plan;
    const bool known = !all && !earlier.black_level.empty();
    if (session.black_level_offset || !known) {
        plan.given = given_black_levels(session);
    }
    const bool made_here = !session.dark.empty() || !plan.given.empty();
    const bool black = made_here || known;
    const bool balance = !session.grey.empty() || !charts_for_balance(session).empty();
    const bool gains =
        (asked("awb") && balance) || !earlier.white_balance.empty() || session.matrix.method == MatrixMethod::joint;
    const bool charts = !session.chart.empty() && gains;
    constexpr const char* kNoBlack =
        "no dark frame ([captures] dark), nor a black level by number ([black_level] offset)";
    const bool mono = is_mono(session);
    constexpr const char* kMono = "the sensor is MONO: it has no colours";
    const std::vector<Need> needs = {
        {"blc", "black_level", made_here, kNoBlack},
        {"lsc", "lens_shading", black && !session.flat.empty(), black ? "no flat field ([captures] flat)" : kNoBlack},
        {"awb", "white_balance", black && !mono && balance,
         mono    ? kMono
         : black ? "no grey card ([captures] grey), nor a chart"
                 : kNoBlack},
        {"ccm", "colour_matrix", black && charts && !mono,
         mono                    ? kMono
         : !black                ? kNoBlack
         : session.chart.empty() ? "no chart ([captures] chart)"
                                 : "no grey card ([captures] grey), nor the colour matrix's method joint"},
        {"clut", "colour_table", !mono && ((asked("ccm") && black && charts) || !earlier.matrices.empty()),
         mono ? kMono : "no colour matrix"},
        {"noise", "noise", black && !session.series.empty(), black ? "no series ([captures] series)" : kNoBlack},
    };
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
    if (plan.does("blc") && plan.given.empty()) {
        plan.dark =
            by_gain(session.dark, [&](const CaptureEntry& dark) { return conditions_of(dark, session.geometry).gain; });
    }
    for (const auto& [part, captures] :
         {std::pair("lsc", &session.flat), std::pair("awb", &session.grey), std::pair("ccm", &session.chart)}) {
        if (plan.does(part)) {
            require_one_each(*captures,
                             captures == &session.flat   ? "flat"
                             : captures == &session.grey ? "grey"
                                                         : "chart",
                             session);
            plan.lit.insert(plan.lit.end(), captures->begin(), captures->end());
        }
    }
    if (plan.does("noise")) {
        plan.series = series_by_gain(session.series, session.geometry);
    }
    return plan;
}

std::vector<std::filesystem::path> ChainPlan::captures() const {
    std::vector<std::filesystem::path> files;
    const auto add = [&](const std::vector<std::filesystem::path>& more) {
        files.insert(files.end(), more.begin(), more.end());
    };
    for (const auto& [taken, entries] : dark) {
        std::ranges::for_each(entries, add, &CaptureEntry::files);
    }
    std::ranges::for_each(lit, add, &CaptureEntry::files);
    for (const auto& [taken, levels] : series) {
        std::ranges::for_each(levels, add, &SeriesLevel::files);
    }
    return files;
}

std::vector<std::pair<std::filesystem::path, SensorGeometry>> check_captures(const Session& session,
                                                                             const ChainPlan& plan) {
    std::vector<std::pair<std::filesystem::path, SensorGeometry>> found;
    const auto is_one_of = [](const std::vector<CaptureEntry>& captures, const std::filesystem::path& file) {
        return std::ranges::any_of(captures, [&](const CaptureEntry& entry) {
            return std::ranges::find(entry.files, file) != entry.files.end();
        });
    };
    for (const std::filesystem::path& file : plan.captures()) {
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
