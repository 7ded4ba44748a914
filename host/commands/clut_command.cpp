#include <memory>

#include "base/error.h"
#include "commands/commands.h"
#include "outputs/patch_picture.h"
#include "results/results.h"

namespace cali::host {
namespace {

struct ClutOptions {
    std::string source;
    double illuminant_k = 0;
    std::string domain = "rgb";
    ColourTableSettings settings;
    std::string cube;
    std::string picture;
    std::string results = "clut.json";
    OutputOptions output;
};

void run(ClutOptions options) {
    const StoredResults stored = read_results(options.source);
    const std::optional<double> light = options.illuminant_k > 0 ? std::optional(options.illuminant_k) : std::nullopt;
    const TableInput& input = choose_by_light(stored.charts, light, stored.file, "colour matrix",
                                              "results of cali ccm, or of cali calibrate with a chart");
    options.settings.domain = options.domain == "rgb" ? TableDomain::rgb : TableDomain::hsv;
    if (options.settings.domain == TableDomain::hsv && !options.cube.empty()) {
        throw InputError("--cube takes the rgb domain, found --domain hsv");
    }
    const LibraryOutput output = options.output.output();
    Results results;
    results.geometry = stored.geometry;
    results.tables.push_back(calibrate_table(input, options.settings, output));
    const ColourTable& table = results.tables.back();
    write_results(options.results, results);
    print_table(table);
    std::printf("written: %s\n", options.results.c_str());
    if (!options.cube.empty()) {
        write_cube(options.cube, table);
        std::printf("written: %s\n", options.cube.c_str());
    }
    if (!options.picture.empty()) {
        write_patch_picture(options.picture, input.corrected, table.result, input.reference);
        std::printf("written: %s\n", options.picture.c_str());
    }
}

}  // namespace

void add_clut_command(CLI::App& app) {
    auto options = std::make_shared<ClutOptions>();
    CLI::App* command = app.add_subcommand("clut", "Colour look-up table for what a colour matrix leaves");
    command->add_option("RESULTS", options->source, "results file with a colour matrix")->required();
    command->add_option("--illuminant", options->illuminant_k, "light whose matrix is meant, in kelvin")
        ->check(NumberRange(1000.0, 40000.0));
    command->add_option("--domain", options->domain, "rgb, or hsv")
        ->check(CLI::IsMember({"rgb", "hsv"}))
        ->capture_default_str();
    command->add_option("--nodes", options->settings.nodes, "nodes per axis")
        ->check(CLI::Range(2, 65))
        ->capture_default_str();
    command->add_option("--strength", options->settings.strength, "share of the correction")
        ->check(NumberRange(0.0, 1.0))
        ->capture_default_str();
    command->add_option("--radius", options->settings.radius, "reach of a patch, in units of the axes")
        ->check(NumberRange(0.001, 1.0))
        ->capture_default_str();
    command->add_option("--cube", options->cube, "the rgb table as a .cube file")->type_name("FILE");
    command->add_option("--picture", options->picture, "PNG of the patches: before, after and reference")
        ->type_name("FILE");
    command->add_option("--results", options->results, "file to write")->type_name("FILE")->capture_default_str();
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali clut shots/results.json --illuminant 5000 --cube shots/5000K.cube\n"
        "  cali clut ccm.json --domain hsv --nodes 17 --strength 0.8");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
