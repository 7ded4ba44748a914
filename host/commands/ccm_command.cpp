#include <algorithm>
#include <iterator>
#include <memory>

#include "base/error.h"
#include "commands/commands.h"
#include "outputs/patch_picture.h"
#include "results/results.h"

namespace cali::host {
namespace {

struct CcmOptions {
    std::string chart;
    std::vector<std::string> values;
    std::string method;
    std::string white;
    std::optional<double> saturation;
    std::vector<double> corners;
    double illuminant_k = 0;
    std::string picture;
    std::string results = "ccm.json";
    GeometryOptions geometry;
    OutputOptions output;
};

MatrixSettings settings_of(const CcmOptions& options) {
    const std::optional<Session> session = options.geometry.session();
    MatrixSettings settings = session ? session->matrix : MatrixSettings{};
    if (!options.method.empty()) {
        settings.method = parse_matrix_method(options.method, "--method");
    }
    if (!options.white.empty()) {
        settings.white_point = parse_white_point(options.white, "--white");
    }
    if (options.saturation) {
        settings.saturation = static_cast<float>(*options.saturation);
    }
    if (!options.corners.empty()) {
        settings.place = {};
        Corners corners{};
        for (std::size_t i = 0; i < corners.size(); ++i) {
            corners[i] = {options.corners[2 * i], options.corners[2 * i + 1]};
        }
        settings.place.corners = corners;
    }
    return settings;
}

/// What several results files hold together.
StoredResults read_all(const std::vector<std::string>& files) {
    StoredResults all = read_results(files.front());
    for (std::size_t i = 1; i < files.size(); ++i) {
        StoredResults more = read_results(files[i]);
        if (!all.black_level) {
            all.black_level = more.black_level;
        }
        std::ranges::move(more.lens_shading, std::back_inserter(all.lens_shading));
        std::ranges::move(more.white_balance, std::back_inserter(all.white_balance));
    }
    return all;
}

void run(const CcmOptions& options) {
    const MatrixSettings settings = settings_of(options);
    const std::optional<double> light = options.illuminant_k > 0 ? std::optional(options.illuminant_k) : std::nullopt;
    Capture chart = read_capture(options.chart, options.geometry.geometry());
    ChartFrontEnd front_end;
    if (options.values.empty()) {
        std::fprintf(stderr, "cali: no --values: no black level, no lens shading, gains of 1\n");
    } else {
        front_end = choose_front_end(read_all(options.values), light, settings.method != MatrixMethod::joint);
    }
    const LibraryOutput output = options.output.output();
    Results results;
    results.matrices.push_back(calibrate_matrix(chart, front_end, settings, output));
    MatrixCalibration& result = results.matrices.back();
    result.illuminant_k = light;
    chart.samples.clear();
    results.geometry = chart;
    write_results(options.results, results);
    print_matrices(results.matrices);
    std::printf("written: %s\n", options.results.c_str());
    if (!options.picture.empty()) {
        write_patch_picture(options.picture, result.measured, result.corrected, result.reference);
        std::printf("written: %s\n", options.picture.c_str());
    }
}

}  // namespace

void add_ccm_command(CLI::App& app) {
    auto options = std::make_shared<CcmOptions>();
    CLI::App* command = app.add_subcommand("ccm", "Colour-correction matrix from a 24-patch chart");
    command->add_option("CHART", options->chart, "capture of the chart, .raw or .pgm")->required();
    command
        ->add_option("--values", options->values,
                     "results files with the black level, lens shading and white balance to apply")
        ->type_name("FILE");
    command->add_option("--method", options->method,
                        "lsq (least squares, default), optimised (least colour difference), or joint (least squares, "
                        "white balance from the chart's greys)");
    command->add_option("--white", options->white, "white of the colour differences: D65 (default) or D50");
    command->add_option("--saturation", options->saturation, "factor of the optimised method; default 1")
        ->check(NumberRange(0.0, 4.0));
    command
        ->add_option("--corners", options->corners,
                     "the chart's corners by its patches 1, 6, 24 and 19, as X Y four times; default: the session's "
                     "windows or corners, or a chart that fills the frame")
        ->expected(8);
    command->add_option("--illuminant", options->illuminant_k, "colour temperature of the light, in kelvin")
        ->check(NumberRange(1000.0, 40000.0));
    command->add_option("--picture", options->picture, "PNG of the patches: measured, corrected and reference")
        ->type_name("FILE");
    command->add_option("--results", options->results, "file to write")->type_name("FILE")->capture_default_str();
    options->geometry.add_to(*command);
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali ccm shots/chart_5000K.raw --session shots/session.toml --values shots/results.json --illuminant 5000\n"
        "  cali ccm chart.pgm --pattern RGGB --method joint --corners 40 40 370 38 372 300 38 302 --picture "
        "patches.png");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
