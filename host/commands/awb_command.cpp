#include "commands/commands.h"
#include "commands/run.h"
#include "commands/value_options.h"

namespace cali::host {
namespace {

struct AwbOptions {
    std::filesystem::path frame;
    ValueOptions values;
    std::vector<int> window;
    LightOption light;
    GeometryOptions geometry;
    RunOptions run;
};

void describe(Command& command, AwbOptions& options) {
    command.option("FRAME", options.frame, "capture of a grey card").required();
    options.values.add_to(command, {ValueOptions::black_level, ValueOptions::lens_shading});
    command
        .option("--window", options.window,
                "X Y WIDTH HEIGHT of the card; default: the centre, at most 256 x 256 (docs/white-balance.md)")
        .expected(4)
        .whole_range(0, kMaxSide);
    options.light.add_to(command, "colour temperature of the light, in kelvin");
    options.geometry.add_to(command);
    options.run.add_to(command);
    command.examples(
        "  cali awb grey.raw --size 1920x1080 --pattern RGGB --bits 12\n"
        "  cali awb grey.pgm --pattern RGGB --window 800 400 200 200 --illuminant 5000 --black-level 64,66,65,63");
}

Window choose_window(const AwbOptions& options, const SensorGeometry& sensor) {
    if (!options.window.empty()) {
        return {options.window[0], options.window[1], options.window[2], options.window[3]};
    }
    const std::optional<Session> session = options.geometry.session();
    if (session && session->white_balance_window) {
        return *session->white_balance_window;
    }
    return default_window(sensor);
}

int act(const AwbOptions& options, const Invocation& invocation) {
    Run run(options.run, invocation, options.geometry.session());
    run.files().input(options.frame, "grey card");
    options.values.name_files(run.files());
    run.start();
    Capture grey = run.read(options.frame, options.geometry, options.light.kelvin());
    require_colours(grey, "white balance");
    const Results known = options.values.values(grey, run);
    const ValueChooser chooser(known, options.run.force);
    TuningValues values;
    (void)chooser.black_level(grey.taken, values);
    chooser.grids(grey.taken, values);
    const Window window = choose_window(options, grey.sensor);
    Step<WhiteBalance> step = grey_step(grey, values, window, run.rules());
    run.take(step, [](Results& made, WhiteBalance& result) { made.white_balance.push_back(result); });
    return run.finish();
}

}  // namespace

void add_awb_command(CommandLine& line) {
    add_command<AwbOptions>(line, "awb", "White-balance gains from a grey card", describe, act);
}

}  // namespace cali::host
