#include "commands/commands.h"
#include "commands/run.h"

namespace cali::host {
namespace {

struct AwbCurveOptions {
    std::filesystem::path source;
    RunOptions run;
};

void describe(Command& command, AwbCurveOptions& options) {
    command.option("RESULTS", options.source,
                   "results file with white balance for several lights; default: the one that grows");
    options.run.add_to(command);
    command.examples(
        "  cali awb-curve --results shots/results.json\n"
        "  cali awb-curve shots/results.json --results shots/curve.json");
}

int act(const AwbCurveOptions& options, const Invocation& invocation) {
    Run run(options.run, invocation, std::nullopt);
    const std::filesystem::path source = options.source.empty() ? options.run.results : options.source;
    run.files().values(source, "RESULTS");
    run.start();
    const Results known = run.read_values(source);
    Step<CurveResult> step = curve_step(ValueChooser(known, options.run.force).lights(), source, run.rules());
    run.take(step, [](Results& made, CurveResult& result) { made.curve = result; });
    return run.finish();
}

}  // namespace

void add_awb_curve_command(CommandLine& line) {
    add_command<AwbCurveOptions>(line, "awb-curve", "White-balance curve over three to seven lights", describe, act);
}

}  // namespace cali::host
