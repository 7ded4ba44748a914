#include <memory>

#include "base/error.h"
#include "commands/commands.h"
#include "results/results.h"

namespace cali::host {
namespace {

struct BlcOptions {
    std::vector<std::string> frames;
    std::string method = "median";
    uint32_t blocks = 0;
    std::string results = "results.json";
    GeometryOptions geometry;
    OutputOptions output;
};

void run(const BlcOptions& options) {
    Results results;
    BlackLevelResults& black_level = results.black_level.emplace();
    black_level.method = parse_method(options.method, "--method");
    const Geometry geometry = options.geometry.geometry();
    const LibraryOutput output = options.output.output();
    for (const std::string& file : options.frames) {
        Capture dark = read_capture(file, geometry);
        black_level.frames.push_back(measure_dark_frame(dark, options.blocks, output));
        dark.samples.clear();
        results.geometry = dark;
    }
    black_level.values = combine(black_level.frames, black_level.method);
    write_results(options.results, results);
    print_black_level(black_level);
    std::printf("written: %s\n", options.results.c_str());
}

}  // namespace

void add_blc_command(CLI::App& app) {
    auto options = std::make_shared<BlcOptions>();
    CLI::App* command = app.add_subcommand("blc", "Black level from dark frames (lens capped)");
    command->add_option("FRAME", options->frames, "dark frames, .raw or .pgm; offsets are averaged over them")
        ->required();
    command
        ->add_option("--method", options->method,
                     "median, mean, or mean_deviation (the mean plus a tenth of the deviation)")
        ->capture_default_str();
    command->add_option("--blocks", options->blocks, "also means of blocks, this many across the frame")
        ->check(CLI::Range(2U, 1024U));
    command->add_option("--results", options->results, "file to write")->type_name("FILE")->capture_default_str();
    options->geometry.add_to(*command);
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali blc dark.raw --size 1920x1080 --pattern BGGR --bits 12\n"
        "  cali blc dark_1.pgm dark_2.pgm --pattern RGGB --method mean --results dark.json\n"
        "  cali blc shots/dark_1.raw --session shots/session.toml --blocks 16");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
