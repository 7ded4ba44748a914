#include "base/error.h"
#include "base/output_file.h"
#include "captures/light.h"
#include "commands/commands.h"
#include "outputs/console.h"
#include "outputs/cube_file.h"
#include "outputs/patch_picture.h"
#include "results/choose_values.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

struct ClutOptions {
    std::string source;
    LightOption light;
    std::string domain = "rgb";
    ColourTableSettings settings;
    std::string cube;
    std::string picture;
    std::string results = "clut.json";
    OutputOptions output;
};

void describe(Command& command, ClutOptions& options) {
    command.option("RESULTS", options.source, "results file with a colour matrix").required();
    options.light.add_to(command, "light whose matrix is meant, in kelvin");
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
    add_results_option(command, options.results);
    options.output.add_to(command);
    command.examples(
        "  cali clut shots/results.json --illuminant 5000 --cube shots/5000K.cube\n"
        "  cali clut ccm.json --domain hsv --nodes 17 --strength 0.8");
}

void act(const ClutOptions& options) {
    const Results stored = read_results(options.source);
    const MatrixCalibration& matrix =
        choose_by_light(stored.matrices, options.light.kelvin(), stored.file, "colour matrix",
                        "results of cali ccm, or of cali calibrate with a chart");
    ColourTableSettings settings = options.settings;
    settings.domain = parse_table_domain(options.domain, "--domain");
    if (settings.domain == TableDomain::hsv && !options.cube.empty()) {
        throw InputError("--cube takes the rgb domain, found --domain hsv");
    }
    const LibraryOutput output = options.output.output();
    Results results;
    results.sensor = stored.sensor;
    const ColourTable& table = results.tables.emplace_back(calibrate_table(table_input(matrix), settings, output));
    write_results(options.results, results);
    const Section section = describe(table);
    print(section);
    print_written(options.results);
    if (!options.cube.empty()) {
        write_text_file(options.cube, cube_text(table));
        print_written(options.cube);
    }
    if (!options.picture.empty()) {
        write_text_file(options.picture, patch_picture(section.pictures.front()));
        print_written(options.picture);
    }
}

}  // namespace

void add_clut_command(CommandLine& line) {
    add_command<ClutOptions>(line, "clut", "Colour look-up table for what a colour matrix leaves", describe, act);
}

}  // namespace cali::host
