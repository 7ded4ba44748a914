#include <algorithm>

#include "base/error.h"
#include "commands/commands.h"
#include "commands/run.h"
#include "outputs/chain_files.h"

namespace cali::host {
namespace {

constexpr int kMostJobs = 16;

struct CalibrateOptions {
    std::filesystem::path session;
    std::filesystem::path folder;
    std::vector<std::string> only;
    std::filesystem::path report;
    ChainFileChoice files;
    int jobs = 1;
    RunOptions run;
};

void describe(Command& command, CalibrateOptions& options) {
    command.option("SESSION", options.session, "session file (docs/session.md)").required();
    command.option("--out", options.folder, "folder for results.json; default: the session file's")
        .type_name("DIR")
        .takes(ValueKind::folder);
    command
        .option("--only", options.only,
                "of blc, lsc, awb (with its curve), ccm, clut, noise, with commas; what they apply comes from the "
                "results file")
        .separated_by(',')
        .one_of({kChainParts.begin(), kChainParts.end()});
    add_shading_options(command, options.files.shading);
    command.flag("--pictures", options.files.pictures,
                 "also a PNG of each chart's patches and an SVG of the noise beside the results");
    command.flag("--tables", options.files.tables, "also each colour look-up table that is needed as a .cube file");
    command.option("--report", options.report, "also a page for people, with charts: what cali report makes")
        .type_name("FILE");
    command
        .option("--jobs", options.jobs,
                "processes that compute captures side by side, each with the memory of one; results are the same. On "
                "Windows one after the other all the same")
        .whole_range(1, kMostJobs)
        .show_default();
    options.run.add_rules_to(command);
    command.examples(
        "  cali calibrate shots/session.toml --report report.html\n"
        "  cali calibrate shots/session.toml --out tuning --log tuning/library.log\n"
        "  cali calibrate shots/session.toml --only ccm,clut --tables");
}

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

int act(const CalibrateOptions& options, const Invocation& invocation) {
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
    const int status = run.finish();
    if (stopped) {
        throw InputError(*stopped);
    }
    return status;
}

}  // namespace

void add_calibrate_command(CommandLine& line) {
    add_command<CalibrateOptions>(line, "calibrate", "The whole chain on the captures of a session file", describe,
                                  act);
}

}  // namespace cali::host
