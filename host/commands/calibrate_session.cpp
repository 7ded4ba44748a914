#include "commands/calibrate_session.h"

#include <algorithm>

#include "base/error.h"

namespace cali::host {
namespace {

std::vector<std::filesystem::path> captures_of(const Session& session) {
    std::vector<std::filesystem::path> files;
    const auto add = [&](const auto& entry) { files.insert(files.end(), entry.files.begin(), entry.files.end()); };
    for (const auto* const captures : {&session.dark, &session.flat, &session.grey, &session.chart}) {
        std::ranges::for_each(*captures, add);
    }
    std::ranges::for_each(session.series, add);
    return files;
}

std::string list_of(const ChainPlan& plan) {
    std::string names;
    for (const char* const part : kChainParts) {
        names += plan.does(part) ? (names.empty() ? "" : ", ") + std::string(part) : "";
    }
    return names;
}

/// Made for the outputs; goes again where nothing was written.
class OutputFolder {
public:
    explicit OutputFolder(const std::filesystem::path& folder) : folder_(folder) {
        std::error_code error;
        made_ = !folder.empty() && !std::filesystem::exists(folder, error);
        if (!folder.empty()) {
            make_folder(folder);
        }
    }
    ~OutputFolder() {
        std::error_code not_empty;
        if (made_) {
            std::filesystem::remove(folder_, not_empty);
        }
    }
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

private:
    const std::filesystem::path& folder_;
    bool made_ = false;
};

}  // namespace

SessionOutcome calibrate_session(const SessionRun& options, const Invocation& invocation) {
    const Session session = read_session(options.session);
    const std::optional<SimulatedTruth> truth =
        session.truth.empty() ? std::nullopt : std::optional(read_truth(session.truth));
    const std::filesystem::path folder = options.folder.empty() ? session.file.parent_path() : options.folder;
    const OutputFolder output_folder(folder);
    RunOptions run_options = options.run;
    run_options.results = folder / "results.json";
    run_options.fresh = options.only.empty();
    Run run(run_options, invocation, session);
    for (const std::filesystem::path& capture : captures_of(session)) {
        run.files().input(capture, "capture");
    }
    if (!session.matrix.reference.empty()) {
        run.files().input(session.matrix.reference, "reference");
    }
    if (!session.truth.empty()) {
        run.files().input(session.truth, "truth");
    }
    run.page(options.report);
    run.start();
    CaptureHeaders headers(session.geometry);
    const ChainPlan plan = plan_chain(session, options.only, run.earlier(), headers);
    if (plan.parts.empty()) {
        throw InputError(session.file.string() + ": nothing can be calibrated: " + plan.left_out.front().second);
    }
    for (const std::filesystem::path& name : ChainFiles::names(session, plan, folder, options.files)) {
        run.own_output(name);
    }
    for (const auto& [file, sensor] : check_captures(session, plan, headers)) {
        run.require_sensor(sensor, file);
    }
    const std::size_t captures = plan.captures().size();
    run.report().note("calibrating " + list_of(plan) + ": " + std::to_string(captures) + " captures");
    for (const auto& [section, why] : plan.left_out) {
        run.report().not_done(section, why);
    }
    ChainFiles files(folder, options.files, captures, run.report(), run.outputs());
    Results made;
    StepRules rules = run.rules();
    rules.jobs = static_cast<std::size_t>(options.jobs);
    const std::optional<std::string> stopped = run_chain(session, plan, rules, files, run.earlier(), made);
    files.add_from(made);
    made.truth = truth;
    run.take(std::move(made));
    const int status = run.finish([&](const Results& results, PendingFiles& beside) {
        if (options.beside) {
            options.beside(stopped, results, beside);
        }
    });
    return {status, stopped};
}

std::vector<std::filesystem::path> files_of(const Session& session) {
    std::vector<std::filesystem::path> files = captures_of(session);
    for (const std::filesystem::path* const file : {&session.file, &session.matrix.reference, &session.truth}) {
        if (!file->empty()) {
            files.push_back(*file);
        }
    }
    return files;
}

}  // namespace cali::host
