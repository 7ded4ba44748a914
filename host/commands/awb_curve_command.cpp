#include "commands/commands.h"
#include "outputs/console.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

struct AwbCurveOptions {
    std::string source;
    std::string results = "curve.json";
    OutputOptions output;
};

void describe(Command& command, AwbCurveOptions& options) {
    command.option("RESULTS", options.source, "results file with white balance for several lights").required();
    add_results_option(command, options.results);
    options.output.add_to(command);
    command.examples(
        "  cali awb-curve shots/results.json\n"
        "  cali awb-curve shots/results.json --results shots/curve.json");
}

void act(const AwbCurveOptions& options) {
    const Results stored = read_results(options.source);
    const LibraryOutput output = options.output.output();
    Results results;
    results.sensor = stored.sensor;
    results.curve = fit_curve(stored.white_balance, options.source, output);
    write_results(options.results, results);
    print(describe(*results.curve));
    print_written(options.results);
}

}  // namespace

void add_awb_curve_command(CommandLine& line) {
    add_command<AwbCurveOptions>(line, "awb-curve", "White-balance curve over three to seven lights", describe, act);
}

}  // namespace cali::host
