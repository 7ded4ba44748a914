#include "commands/commands.h"
#include "commands/run.h"

namespace cali::host {
namespace {

struct BlcOptions {
    std::vector<std::string> frames;
    std::string method = "median";
    uint32_t blocks = 0;
    GeometryOptions geometry;
    RunOptions run;
};

void describe(Command& command, BlcOptions& options) {
    command.option("FRAME", options.frames, "dark frames; offsets are averaged over them").required();
    command
        .option("--method", options.method, "median, mean, or mean_deviation (the mean plus a tenth of the deviation)")
        .show_default();
    command.option("--blocks", options.blocks, "also means of blocks, this many across the frame")
        .whole_range(2U, 1024U);
    options.geometry.add_to(command);
    options.run.add_to(command);
    command.examples(
        "  cali blc dark.raw --size 1920x1080 --pattern BGGR --bits 12\n"
        "  cali blc dark_1.dng dark_2.dng\n"
        "  cali blc dark.raw --size 1920x1080 --pattern BGGR --packing raw10 --stride-bytes 2432\n"
        "  cali blc dark_1.pgm dark_2.pgm --pattern RGGB --method mean\n"
        "  cali blc shots/dark_1.raw --session shots/session.toml --blocks 16");
}

int act(const BlcOptions& options, const Invocation& invocation) {
    BlackLevelRequest request{
        {options.frames.begin(), options.frames.end()}, parse_method(options.method, "--method"), options.blocks};
    const Geometry geometry = options.geometry.geometry();
    Run run(options.run, invocation, options.geometry.session());
    for (const std::filesystem::path& file : request.files) {
        run.files().input(file, "dark frame");
    }
    run.start();
    Step<BlackLevelResults> step = black_level_step(request, geometry, run.rules(), run.reader());
    run.take(step, [](Results& made, BlackLevelResults& result) { made.black_level = result; });
    return run.finish();
}

}  // namespace

void add_blc_command(CommandLine& line) {
    add_command<BlcOptions>(line, "blc", "Black level from dark frames (lens capped)", describe, act);
}

}  // namespace cali::host
