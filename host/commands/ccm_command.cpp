#include "commands/commands.h"
#include "commands/run.h"
#include "commands/value_options.h"
#include "outputs/patch_picture.h"

namespace cali::host {
namespace {

struct CcmOptions {
    std::filesystem::path chart;
    ValueOptions values;
    std::string method;
    std::string white;
    std::optional<double> saturation;
    std::string reference;
    std::vector<double> corners;
    bool fills_frame = false;
    LightOption light;
    std::filesystem::path picture;
    GeometryOptions geometry;
    RunOptions run;
};

void describe(Command& command, CcmOptions& options) {
    command.option("CHART", options.chart, "capture of the chart").required();
    options.values.add_to(command, {ValueOptions::all, ValueOptions::black_level});
    command
        .option("--method", options.method,
                "lsq (least squares, default), optimised (least colour difference), joint (least squares, white "
                "balance from the chart's greys), or measured (least squares to the colours of --reference)")
        .suggests({"lsq", "optimised", "joint", "measured"});
    command.option("--white", options.white, "white of the colour differences: D65 (default) or D50")
        .suggests({"D65", "D50"});
    command.option("--saturation", options.saturation, "factor of the optimised method; default 1").range(0.0, 4.0);
    command
        .option(
            "--reference", options.reference,
            "colours that were measured on the chart, CSV or CGATS (docs/colour.md), by which it is judged; default: "
            "what the session says, or else the built-in table")
        .type_name("FILE")
        .takes(ValueKind::file);
    const Option corners =
        command
            .option("--corners", options.corners,
                    "the chart's corners by its patches 1, 6, 24 and 19, as X Y four times: half a gap outside those "
                    "patches' own; default: what the session says, or else the chart is found")
            .expected(8);
    command.flag("--fills-frame", options.fills_frame, "the chart fills the frame").excludes(corners);
    options.light.add_to(command, "colour temperature of the light, in kelvin");
    command.option("--picture", options.picture, "PNG of the patches: measured, corrected and reference")
        .type_name("FILE");
    options.geometry.add_to(command);
    options.run.add_to(command);
    command.examples(
        "  cali ccm shots/chart_5000K.raw --session shots/session.toml --results shots/results.json --illuminant 5000\n"
        "  cali ccm chart.pgm --pattern RGGB --method joint --corners 40 40 370 38 372 300 38 302 --picture "
        "patches.png\n"
        "  cali ccm chart.pgm --pattern RGGB --reference my_chart.csv --method measured");
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
    if (!options.reference.empty()) {
        settings.reference = options.reference;
    }
    require_reference(settings);
    if (options.fills_frame) {
        settings.place = {};
        settings.place.fills_frame = true;
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

int act(const CcmOptions& options, const Invocation& invocation) {
    const MatrixSettings settings = settings_of(options);
    Run run(options.run, invocation, options.geometry.session());
    run.files().input(options.chart, "chart");
    if (!settings.reference.empty()) {
        run.files().input(settings.reference, "--reference");
    }
    options.values.name_files(run.files());
    if (!options.picture.empty()) {
        run.files().output(options.picture, "--picture");
    }
    run.start();
    Capture chart = run.read(options.chart, options.geometry, options.light.kelvin());
    require_colours(chart, "a colour matrix");
    const Results known = options.values.values(chart, run);
    const ValueChooser chooser(known, options.run.force);
    TuningValues values;
    (void)chooser.black_level(chart.taken, values);
    chooser.grids(chart.taken, values);
    if (settings.method != MatrixMethod::joint && !known.white_balance.empty()) {
        chooser.gains(chart.taken, values);
    } else if (settings.method != MatrixMethod::joint) {
        run.report().warn("no white balance is known: gains of 1");
    }
    Step<MatrixCalibration> step = chart_step(chart, values, settings, run.rules());
    if (step.usable() && !options.picture.empty()) {
        const MatrixCalibration& matrix = *step.result;
        run.outputs().add_text(options.picture, patch_picture({matrix.measured, matrix.corrected, matrix.reference}));
    }
    run.take(step, [](Results& made, MatrixCalibration& result) { made.matrices.push_back(result); });
    return run.finish();
}

}  // namespace

void add_ccm_command(CommandLine& line) {
    add_command<CcmOptions>(line, "ccm", "Colour-correction matrix from a 24-patch chart", describe, act);
}

}  // namespace cali::host
