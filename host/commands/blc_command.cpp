#include "captures/read_capture.h"
#include "commands/commands.h"
#include "outputs/console.h"
#include "results/results_file.h"

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

void describe(Command& command, BlcOptions& options) {
    command.option("FRAME", options.frames, "dark frames, .raw or .pgm; offsets are averaged over them").required();
    command
        .option("--method", options.method, "median, mean, or mean_deviation (the mean plus a tenth of the deviation)")
        .show_default();
    command.option("--blocks", options.blocks, "also means of blocks, this many across the frame")
        .whole_range(2U, 1024U);
    add_results_option(command, options.results);
    options.geometry.add_to(command);
    options.output.add_to(command);
    command.examples(
        "  cali blc dark.raw --size 1920x1080 --pattern BGGR --bits 12\n"
        "  cali blc dark_1.pgm dark_2.pgm --pattern RGGB --method mean --results dark.json\n"
        "  cali blc shots/dark_1.raw --session shots/session.toml --blocks 16");
}

void act(const BlcOptions& options) {
    const BlackLevelMethod method = parse_method(options.method, "--method");
    const Geometry geometry = options.geometry.geometry();
    const LibraryOutput output = options.output.output();
    Results results;
    std::vector<DarkFrameLevels> frames;
    for (const std::string& file : options.frames) {
        Capture dark = read_capture(file, geometry);
        results.sensor = frames.empty() ? dark.sensor : results.sensor;
        frames.push_back(measure_dark_frame(dark, options.blocks, output));
    }
    results.black_level = combine(std::move(frames), method);
    write_results(options.results, results);
    print(describe(*results.black_level));
    print_written(options.results);
}

}  // namespace

void add_blc_command(CommandLine& line) {
    add_command<BlcOptions>(line, "blc", "Black level from dark frames (lens capped)", describe, act);
}

}  // namespace cali::host
