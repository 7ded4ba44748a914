#include <cstdio>

#include "base/output_file.h"
#include "captures/read_capture.h"
#include "commands/commands.h"
#include "outputs/console.h"
#include "outputs/patch_picture.h"
#include "results/choose_values.h"
#include "results/results_file.h"

namespace cali::host {
namespace {

struct CcmOptions {
    std::string chart;
    std::vector<std::string> values;
    std::string method;
    std::string white;
    std::optional<double> saturation;
    std::vector<double> corners;
    LightOption light;
    std::string picture;
    std::string results = "ccm.json";
    GeometryOptions geometry;
    OutputOptions output;
};

void describe(Command& command, CcmOptions& options) {
    command.option("CHART", options.chart, "capture of the chart, .raw or .pgm").required();
    command
        .option("--values", options.values,
                "results files with the black level, lens shading and white balance to apply")
        .type_name("FILE");
    command.option("--method", options.method,
                   "lsq (least squares, default), optimised (least colour difference), or joint (least squares, white "
                   "balance from the chart's greys)");
    command.option("--white", options.white, "white of the colour differences: D65 (default) or D50");
    command.option("--saturation", options.saturation, "factor of the optimised method; default 1").range(0.0, 4.0);
    command
        .option("--corners", options.corners,
                "the chart's corners by its patches 1, 6, 24 and 19, as X Y four times; default: the session's windows "
                "or corners, or a chart that fills the frame")
        .expected(8);
    options.light.add_to(command, "colour temperature of the light, in kelvin");
    command.option("--picture", options.picture, "PNG of the patches: measured, corrected and reference")
        .type_name("FILE");
    add_results_option(command, options.results);
    options.geometry.add_to(command);
    options.output.add_to(command);
    command.examples(
        "  cali ccm shots/chart_5000K.raw --session shots/session.toml --values shots/results.json --illuminant 5000\n"
        "  cali ccm chart.pgm --pattern RGGB --method joint --corners 40 40 370 38 372 300 38 302 --picture "
        "patches.png");
}

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

TuningValues values_of(const CcmOptions& options, MatrixMethod method) {
    if (options.values.empty()) {
        (void)std::fprintf(stderr, "cali: no --values: no black level, no lens shading, gains of 1\n");
        return {};
    }
    return choose_values(read_all(options.values), options.light.kelvin(), method != MatrixMethod::joint);
}

void act(const CcmOptions& options) {
    const MatrixSettings settings = settings_of(options);
    Capture chart = read_capture(options.chart, options.geometry.geometry());
    const TuningValues values = values_of(options, settings.method);
    const LibraryOutput output = options.output.output();
    Results results;
    results.sensor = chart.sensor;
    MatrixCalibration& result = results.matrices.emplace_back(calibrate_matrix(chart, values, settings, output));
    result.illuminant_k = options.light.kelvin();
    write_results(options.results, results);
    const Section section = describe(result);
    print(section);
    print_written(options.results);
    if (!options.picture.empty()) {
        write_text_file(options.picture, patch_picture(section.pictures.front()));
        print_written(options.picture);
    }
}

}  // namespace

void add_ccm_command(CommandLine& line) {
    add_command<CcmOptions>(line, "ccm", "Colour-correction matrix from a 24-patch chart", describe, act);
}

}  // namespace cali::host
