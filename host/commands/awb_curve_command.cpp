#include <memory>

#include "base/error.h"
#include "commands/commands.h"
#include "results/results.h"

namespace cali::host {
namespace {

struct AwbCurveOptions {
    std::string source;
    std::string results = "curve.json";
    OutputOptions output;
};

void run(const AwbCurveOptions& options) {
    const StoredResults stored = read_results(options.source);
    const LibraryOutput output = options.output.output();
    Results results;
    results.geometry = stored.geometry;
    results.curve = fit_curve(stored.white_balance, options.source, output);
    write_results(options.results, results);
    print_curve(*results.curve);
    std::printf("written: %s\n", options.results.c_str());
}

}  // namespace

void add_awb_curve_command(CLI::App& app) {
    auto options = std::make_shared<AwbCurveOptions>();
    CLI::App* command = app.add_subcommand("awb-curve", "White-balance curve over three to seven lights");
    command->add_option("RESULTS", options->source, "results file with white balance for several lights")->required();
    command->add_option("--results", options->results, "file to write")->type_name("FILE")->capture_default_str();
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali awb-curve shots/results.json\n"
        "  cali awb-curve shots/results.json --results shots/curve.json");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
