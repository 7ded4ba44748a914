#include "base/error.h"
#include "captures/read_capture.h"
#include "commands/commands.h"
#include "outputs/console.h"
#include "results/choose_values.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

struct AwbOptions {
    std::string frame;
    std::string black_level;
    std::string lens_shading;
    std::vector<int> window;
    LightOption light;
    std::string results = "results.json";
    GeometryOptions geometry;
    OutputOptions output;
};

void describe(Command& command, AwbOptions& options) {
    command.option("FRAME", options.frame, "capture of a grey card, .raw or .pgm").required();
    command.option("--black-level", options.black_level, "results file whose black level is subtracted")
        .type_name("FILE");
    command
        .option("--lens-shading", options.lens_shading,
                "results file whose mesh of the nearest light is applied; default: none")
        .type_name("FILE");
    command
        .option("--window", options.window,
                "X Y WIDTH HEIGHT of the card; default: the centre, at most 256 x 256 (docs/white-balance.md)")
        .expected(4)
        .whole_range(0, kMaxSide);
    options.light.add_to(command, "colour temperature of the light, in kelvin");
    add_results_option(command, options.results);
    options.geometry.add_to(command);
    options.output.add_to(command);
    command.examples(
        "  cali awb grey.raw --size 1920x1080 --pattern RGGB --bits 12 --black-level results.json\n"
        "  cali awb grey.pgm --pattern RGGB --window 800 400 200 200 --illuminant 5000 --results awb.json");
}

std::vector<LensShading> read_shading(const std::string& file) {
    if (file.empty()) {
        return {};
    }
    Results stored = read_results(file);
    if (stored.lens_shading.empty()) {
        throw InputError(file + ": holds no lens shading, expected results of cali lsc or cali calibrate");
    }
    return std::move(stored.lens_shading);
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

void act(const AwbOptions& options) {
    TuningValues values;
    values.black_level = read_black_level(options.black_level);
    Capture grey = read_capture(options.frame, options.geometry.geometry());
    const LibraryOutput output = options.output.output();
    const Window window = choose_window(options, grey.sensor);
    choose_grids(read_shading(options.lens_shading), options.light.kelvin(), values);
    Results results;
    results.sensor = grey.sensor;
    results.white_balance.push_back(measure_grey_card(grey, values, window, output));
    results.white_balance.back().illuminant_k = options.light.kelvin();
    write_results(options.results, results);
    print(describe(results.white_balance));
    print_written(options.results);
}

}  // namespace

void add_awb_command(CommandLine& line) {
    add_command<AwbOptions>(line, "awb", "White-balance gains from a grey card", describe, act);
}

}  // namespace cali::host
