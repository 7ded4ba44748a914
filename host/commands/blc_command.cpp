#include "captures/headers.h"
#include "commands/commands.h"
#include "commands/run.h"

namespace cali::host {
namespace {

struct BlcOptions {
    std::vector<std::filesystem::path> frames;
    std::string method = "median";
    uint32_t blocks = 0;
    GeometryOptions geometry;
    RunOptions run;
};

void describe(Command& command, BlcOptions& options) {
    command.option("FRAME", options.frames, "dark frames; offsets are averaged over them").required();
    command
        .option("--method", options.method, "median, mean, or mean_deviation (the mean plus a tenth of the deviation)")
        .suggests({"median", "mean", "mean_deviation"})
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
    const BlackLevelMethod method = parse_method(options.method, "--method");
    const Geometry geometry = options.geometry.geometry();
    Run run(options.run, invocation, options.geometry.session());
    std::vector<CaptureEntry> entries;
    for (const std::filesystem::path& file : options.frames) {
        run.files().input(file, "dark frame");
        entries.push_back(options.geometry.entry(file));
    }
    run.start();
    for (const auto& [taken, of_gain] : CaptureHeaders(geometry).by_gain(entries)) {
        Step<BlackLevelResults> step =
            black_level_step({of_gain, method, options.blocks, taken}, run.rules(), run.reader(geometry));
        run.take(step, [](Results& made, BlackLevelResults& result) { made.black_level.push_back(result); });
    }
    return run.finish();
}

}  // namespace

void add_blc_command(CommandLine& line) {
    add_command<BlcOptions>(line, "blc", "Black level from dark frames (lens capped)", describe, act);
}

}  // namespace cali::host
