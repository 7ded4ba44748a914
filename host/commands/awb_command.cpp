#include <memory>

#include "base/error.h"
#include "commands/commands.h"
#include "results/results.h"

namespace cali::host {
namespace {

struct AwbOptions {
    std::string frame;
    std::string black_level;
    std::string lens_shading;
    std::vector<int> window;
    double illuminant_k = 0;
    std::string results = "results.json";
    GeometryOptions geometry;
    OutputOptions output;
};

std::vector<LensShading> read_shading(const std::string& file) {
    if (file.empty()) {
        return {};
    }
    StoredResults stored = read_results(file);
    if (stored.lens_shading.empty()) {
        throw InputError(file + ": holds no lens shading, expected results of cali lsc or cali calibrate");
    }
    return std::move(stored.lens_shading);
}

Window choose_window(const AwbOptions& options, const std::optional<Session>& session, const Capture& grey) {
    if (!options.window.empty()) {
        return {options.window[0], options.window[1], options.window[2], options.window[3]};
    }
    if (session && session->white_balance_window) {
        return *session->white_balance_window;
    }
    return default_window(grey.width, grey.height);
}

void run(const AwbOptions& options) {
    const BlackLevels black_level = read_black_level(options.black_level);
    Capture grey = read_capture(options.frame, options.geometry.geometry());
    const LibraryOutput output = options.output.output();
    const Window window = choose_window(options, options.geometry.session(), grey);
    Results results;
    const std::optional<double> light = options.illuminant_k > 0 ? std::optional(options.illuminant_k) : std::nullopt;
    results.white_balance.push_back(
        balance_grey_card(grey, light, black_level, read_shading(options.lens_shading), window, output));
    grey.samples.clear();
    results.geometry = grey;
    write_results(options.results, results);
    print_white_balance(results.white_balance);
    std::printf("written: %s\n", options.results.c_str());
}

}  // namespace

void add_awb_command(CLI::App& app) {
    auto options = std::make_shared<AwbOptions>();
    CLI::App* command = app.add_subcommand("awb", "White-balance gains from a grey card");
    command->add_option("FRAME", options->frame, "capture of a grey card, .raw or .pgm")->required();
    command->add_option("--black-level", options->black_level, "results file whose black level is subtracted")
        ->type_name("FILE");
    command
        ->add_option("--lens-shading", options->lens_shading,
                     "results file whose mesh of the nearest light is applied; default: none")
        ->type_name("FILE");
    command
        ->add_option("--window", options->window,
                     "X Y WIDTH HEIGHT of the card; default: the centre, at most 256 x 256 (docs/white-balance.md)")
        ->expected(4)
        ->check(CLI::Range(0, kMaxSide));
    command->add_option("--illuminant", options->illuminant_k, "colour temperature of the light, in kelvin")
        ->check(NumberRange(1000.0, 40000.0));
    command->add_option("--results", options->results, "file to write")->type_name("FILE")->capture_default_str();
    options->geometry.add_to(*command);
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali awb grey.raw --size 1920x1080 --pattern RGGB --bits 12 --black-level results.json\n"
        "  cali awb grey.pgm --pattern RGGB --window 800 400 200 200 --illuminant 5000 --results awb.json");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
