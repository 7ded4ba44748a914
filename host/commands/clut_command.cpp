#include "base/error.h"
#include "commands/commands.h"
#include "commands/run.h"
#include "outputs/cube_file.h"
#include "outputs/patch_picture.h"

namespace cali::host {
namespace {

struct ClutOptions {
    std::filesystem::path source;
    LightOption light;
    std::optional<double> gain;
    std::string domain = "rgb";
    ColourTableSettings settings;
    std::filesystem::path cube;
    std::filesystem::path picture;
    RunOptions run;
};

void describe(Command& command, ClutOptions& options) {
    command.option("RESULTS", options.source, "results file with a colour matrix; default: the one that grows");
    options.light.add_to(command, "light whose matrix is meant, in kelvin");
    command.option("--gain", options.gain, "analogue gain whose matrix is meant").range(kLeastGain, kMostGain);
    command.option("--domain", options.domain, "rgb, or hsv").one_of({"rgb", "hsv"}).show_default();
    command.option("--nodes", options.settings.nodes, "nodes per axis").whole_range(2, 65).show_default();
    command.option("--strength", options.settings.strength, "share of the correction; default: by leave-one-out")
        .range(0.0, 1.0);
    command
        .option("--radius", options.settings.radius,
                "reach of a patch, in units of the axes; default: by leave-one-out")
        .range(0.001, 1.0);
    command.option("--cube", options.cube, "the rgb table as a .cube file").type_name("FILE");
    command.option("--picture", options.picture, "PNG of the patches: before, after and reference").type_name("FILE");
    options.run.add_to(command);
    command.examples(
        "  cali clut --results shots/results.json --illuminant 5000 --cube shots/5000K.cube\n"
        "  cali clut ccm.json --domain hsv --nodes 17 --strength 0.8 --results hsv.json");
}

int act(const ClutOptions& options, const Invocation& invocation) {
    ColourTableSettings settings = options.settings;
    settings.domain = parse_table_domain(options.domain, "--domain");
    if (settings.domain == TableDomain::hsv && !options.cube.empty()) {
        throw InputError("--cube takes the rgb domain, found --domain hsv");
    }
    Run run(options.run, invocation, std::nullopt);
    const std::filesystem::path source = options.source.empty() ? options.run.results : options.source;
    run.files().values(source, "RESULTS");
    for (const auto& [name, file] : {std::pair("--cube", &options.cube), std::pair("--picture", &options.picture)}) {
        if (!file->empty()) {
            run.files().output(*file, name);
        }
    }
    run.start();
    const Results known = run.read_values(source);
    const MatrixCalibration matrix =
        ValueChooser(known, options.run.force).matrix({options.light.kelvin(), options.gain});
    Step<ColourTable> step = table_step(matrix, settings, run.rules());
    if (step.usable() && step.result->needed && !options.cube.empty()) {
        run.outputs().add_text(options.cube, cube_text(*step.result));
    }
    if (step.usable() && !options.picture.empty()) {
        const ColourTable& table = *step.result;
        run.outputs().add_text(options.picture,
                               patch_picture({table.input.corrected, table.result, table.input.reference}));
    }
    run.take(step, [](Results& made, ColourTable& result) { made.tables.push_back(result); });
    return run.finish();
}

}  // namespace

void add_clut_command(CommandLine& line) {
    add_command<ClutOptions>(line, "clut", "Colour look-up table for what a colour matrix leaves", describe, act);
}

}  // namespace cali::host
