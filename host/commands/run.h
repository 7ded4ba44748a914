/// What all commands that calibrate have in common: their files, the results that grow, the report and the exit status.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/output_file.h"
#include "base/run_files.h"
#include "commands/options.h"
#include "outputs/run_report.h"
#include "results/choose_values.h"
#include "session/steps.h"

namespace cali::host {

/// --strict, --json, -v and --log: how a run is told and how it ends.
struct ReportOptions {
    void add_to(Command& command);
    /// Silent where one of the files, all named by now, takes standard output; throws InputError where an option wants
    /// it, too.
    [[nodiscard]] RunReport report(const std::string& command, const RunFiles& files = {}) const;
    /// 0, 1 where a check failed, 3 where one warned and --strict is given.
    [[nodiscard]] int status(Severity severity) const;

    bool strict = false;
    bool json = false;
    bool mute = false;  ///< one run of many
    OutputOptions output;
};

/// --results, --new, --force and --limits beside those.
struct RunOptions {
    void add_to(Command& command);
    /// Without --results and --new, where a command knows them itself.
    void add_rules_to(Command& command);

    std::filesystem::path results = "results.json";
    bool fresh = false;
    bool force = false;
    std::filesystem::path limits;
    ReportOptions report;
};

/// One run of a command. First every file is named, then `start` reads what earlier runs left, then come the steps, and
/// `finish` writes.
class Run {
public:
    /// `session`: whose limits are in force where the options name none.
    Run(const RunOptions& options, Invocation invocation, const std::optional<Session>& session);

    /// For naming inputs and outputs, which refuses those that would destroy each other. Throws InputError.
    [[nodiscard]] RunFiles& files() { return files_; }
    /// Throws InputError.
    void start();

    /// After `start`: an output whose name the user did not give; it is replaced only where an earlier run wrote it.
    /// Throws InputError.
    void own_output(const std::filesystem::path& file);

    /// Before `start`: a page of all results, beside the other files. Empty: none.
    void page(const std::filesystem::path& file);

    /// What earlier runs left, but for --new.
    [[nodiscard]] const Results& earlier() const { return earlier_; }
    /// Black level by number in the session.
    [[nodiscard]] const std::optional<Channels<double>>& session_black_level() const { return session_black_level_; }
    [[nodiscard]] StepRules rules() const;
    /// After `start`.
    [[nodiscard]] RunReport& report() { return *report_; }

    /// Throws InputError where the capture, or values, are of another sensor than `earlier`; a finding with --force.
    void require_sensor(const SensorGeometry& sensor, const std::filesystem::path& file);
    /// Another results file, or the one that grows where it is that. Throws InputError.
    [[nodiscard]] Results read_values(const std::filesystem::path& file);
    /// The capture that a command measures, under its light; refused likewise. Throws InputError.
    [[nodiscard]] Capture read(const std::filesystem::path& file, const GeometryOptions& geometry,
                               std::optional<double> illuminant_k);
    /// For steps: refuses captures of another sensor.
    [[nodiscard]] CaptureRead reader(const Geometry& geometry);

    /// Shows the step, and keeps it for `finish`; `keep` puts its result into results.
    template <typename T, typename Keep>
    void take(Step<T>& step, Keep keep) {
        if (step.result) {
            show(*step.result);
            keep(made_, *step.result);
        }
        take_findings(step.findings);
    }

    /// What a chain of steps made; it was shown already.
    void take(Results made);

    /// A file that appears with the others when the run is finished.
    [[nodiscard]] PendingFiles& outputs() { return outputs_; }

    /// Adds files that are made of what the results file will hold.
    using AddFiles = std::function<void(const Results&, PendingFiles&)>;
    /// Writes all files, the results last, shows the verdict, and returns the exit status.
    [[nodiscard]] int finish(const AddFiles& add_files = {});

private:
    template <typename T>
    void show(const T& result) {
        report_->section(describe(result));
    }
    void show(const WhiteBalance& result) { report_->section(describe(std::vector{result})); }
    void take_findings(const std::vector<Finding>& findings);
    [[nodiscard]] int conclude(Severity severity);

    const RunOptions& options_;
    Invocation invocation_;
    std::optional<RunReport> report_;
    std::optional<LibraryOutput> output_;
    RunFiles files_;
    Limits limits_;
    std::optional<Channels<double>> session_black_level_;
    Results earlier_;
    std::vector<std::filesystem::path> earlier_outputs_;
    Results made_;
    Results all_;
    PendingFiles outputs_;
    std::filesystem::path page_;
};

}  // namespace cali::host
