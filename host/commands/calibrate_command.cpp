#include "base/error.h"
#include "commands/calibrate_units.h"
#include "commands/commands.h"

namespace cali::host {
namespace {

constexpr int kMostJobs = 256;

struct CalibrateOptions {
    std::vector<std::filesystem::path> sessions;
    std::filesystem::path list;
    std::string shard;
    SessionRun session;
};

void describe(Command& command, CalibrateOptions& options) {
    SessionRun& session = options.session;
    command.option("SESSION", options.sessions,
                   "session file (docs/session.md); several, or folders that hold a session.toml: units, each with a "
                   "folder of its own in --out (docs/factory.md)");
    command.option("--list", options.list, "file that names units, one on a line; they lie beside it")
        .type_name("FILE");
    command
        .option("--shard", options.shard, "of the units the i-th of n parts, i from 1; cali summary puts all together")
        .type_name("i/n");
    command.option("--out", session.folder, "folder for results.json; default: the session file's")
        .type_name("DIR")
        .takes(ValueKind::folder);
    command
        .option("--only", session.only,
                "of blc, lsc, awb (with its curve), ccm, clut, noise, with commas; what they apply comes from the "
                "results file")
        .separated_by(',')
        .one_of({kChainParts.begin(), kChainParts.end()});
    add_shading_options(command, session.files.shading);
    command.flag("--pictures", session.files.pictures,
                 "also a PNG of each chart's patches and an SVG of the noise beside the results");
    command.flag("--tables", session.files.tables, "also each colour look-up table that is needed as a .cube file");
    command.option("--report", session.report, "also a page for people, with charts: what cali report makes")
        .type_name("FILE");
    command
        .option("--jobs", session.jobs,
                "processes side by side, each with the memory of one; they compute captures, or units where there are "
                "several. Results are the same. On Windows one after the other all the same")
        .whole_range(1, kMostJobs)
        .show_default();
    session.run.add_rules_to(command);
    command.examples(
        "  cali calibrate shots/session.toml --report report.html\n"
        "  cali calibrate shots/session.toml --out tuning --log tuning/library.log\n"
        "  cali calibrate shots/session.toml --only ccm,clut --tables\n"
        "  cali calibrate line7/* --out tuned --jobs 8");
}

/// Options that are for one session.
void require_units_options(const SessionRun& session) {
    const ReportOptions& report = session.run.report;
    const char* const wrong = !session.report.empty()   ? "--report (cali report --list DIR/units.txt makes a page)"
                              : report.json             ? "--json"
                              : report.output.verbose() ? "--verbose"
                              : !report.output.log().empty() ? "--log"
                                                             : nullptr;
    if (wrong != nullptr) {
        throw InputError(std::string(wrong) + ": for one session, and there are several units");
    }
    if (session.folder.empty()) {
        throw InputError("--out: not given, expected the folder for the results of all units");
    }
}

int act(const CalibrateOptions& options, const Invocation& invocation) {
    std::vector<std::filesystem::path> sessions = options.sessions;
    if (!options.list.empty()) {
        std::ranges::move(read_list(options.list, "unit"), std::back_inserter(sessions));
    }
    if (sessions.empty()) {
        throw InputError("no session is given, expected a session file, units, or --list");
    }
    std::error_code error;
    const bool units = sessions.size() > 1 || !options.list.empty() || !options.shard.empty() ||
                       std::filesystem::is_directory(sessions.front(), error);
    if (units) {
        require_units_options(options.session);
        UnitsRun run{sessions, options.session.folder, options.shard, options.session.jobs, options.session};
        run.session.jobs = 1;
        return calibrate_units(run, invocation);
    }
    SessionRun session = options.session;
    session.session = sessions.front();
    const SessionOutcome outcome = calibrate_session(session, invocation);
    if (outcome.stopped) {
        throw InputError(*outcome.stopped);
    }
    return outcome.status;
}

}  // namespace

void add_calibrate_command(CommandLine& line) {
    add_command<CalibrateOptions>(line, "calibrate", "The whole chain on the captures of a session file", describe,
                                  act);
}

}  // namespace cali::host
