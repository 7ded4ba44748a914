#include <algorithm>
#include <memory>

#include "base/error.h"
#include "base/output_file.h"
#include "commands/commands.h"
#include "outputs/patch_picture.h"
#include "outputs/register_files.h"
#include "results/results.h"

namespace cali::host {
namespace {

struct CalibrateOptions {
    std::string session;
    std::string folder;
    ShadingFileOptions files;
    bool pictures = false;
    bool progress = false;
    bool tables = false;
    OutputOptions output;
};

/// Samples are dropped, the rest describes the sensor.
void keep_geometry(Results& results, Capture capture) {
    capture.samples.clear();
    results.geometry = std::move(capture);
}

BlackLevelResults calibrate_black_level(const Session& session, const LibraryOutput& output, Results& results) {
    BlackLevelResults black_level;
    black_level.method = session.black_level_method;
    for (const std::filesystem::path& file : session.dark) {
        Capture dark = read_capture(file, session.geometry);
        black_level.frames.push_back(measure_dark_frame(dark, 0, output));
        keep_geometry(results, std::move(dark));
    }
    black_level.values = combine(black_level.frames, black_level.method);
    return black_level;
}

/// A flat field's result with the frames that files may be made of.
struct FlatFieldRun {
    Capture geometry;
    CorrectedFlat corrected;
};

std::vector<FlatFieldRun> calibrate_lens_shading(const Session& session, const ShadingFileOptions& files,
                                                 const LibraryOutput& output, Results& results) {
    std::vector<FlatFieldRun> runs;
    for (const LitCapture& lit : session.flat) {
        const std::filesystem::path stem = lit.file.stem();
        for (const FlatFieldRun& other : runs) {
            if (files.any() && other.geometry.file.stem() == stem) {
                throw InputError(lit.file.string() + ": a second flat field named " + stem.string() +
                                 ", expected distinct names for --registers and --corrected");
            }
        }
        Capture flat = read_capture(lit.file, session.geometry);
        require_flat(flat, results.black_level->values, false);
        CorrectedFlat corrected;
        results.lens_shading.push_back(
            calibrate_flat_field(flat, results.black_level->values, session.shading, output, corrected));
        results.lens_shading.back().illuminant_k = lit.illuminant_k;
        flat.samples = {};
        runs.push_back({std::move(flat), files.corrected ? std::move(corrected) : CorrectedFlat{}});
    }
    return runs;
}

/// Charts, each behind the values of the nearest lights.
void calibrate_matrices(const Session& session, const LibraryOutput& output, Results& results) {
    for (const LitCapture& lit : session.chart) {
        ChartFrontEnd front_end;
        front_end.black_level = results.black_level->values;
        if (const LensShading* const shading = nearest_light(results.lens_shading, lit.illuminant_k)) {
            front_end.grids = grids_of(*shading);
            front_end.flat_field = shading->file;
        }
        if (const WhiteBalance* const gains = nearest_light(results.white_balance, lit.illuminant_k)) {
            front_end.white_balance = *gains;
        } else if (session.matrix.method != MatrixMethod::joint) {
            throw InputError(session.file.string() +
                             ": captures: a chart but no grey card, expected one, or the colour matrix's method joint");
        }
        Capture chart = read_capture(lit.file, session.geometry);
        results.matrices.push_back(calibrate_matrix(chart, front_end, session.matrix, output));
        results.matrices.back().illuminant_k = lit.illuminant_k;
    }
}

void run(const CalibrateOptions& options) {
    const Session session = read_session(options.session);
    if (session.dark.empty()) {
        throw InputError(options.session + ": captures: dark names no file, expected one dark frame or more");
    }
    const LibraryOutput output = options.output.output();
    Results results;
    results.black_level = calibrate_black_level(session, output, results);
    const BlackLevels& black_level = results.black_level->values;
    const std::filesystem::path folder =
        options.folder.empty() ? session.file.parent_path() : std::filesystem::path(options.folder);
    const std::vector<FlatFieldRun> flats = calibrate_lens_shading(session, options.files, output, results);
    for (const LitCapture& lit : session.grey) {
        Capture grey = read_capture(lit.file, session.geometry);
        const Window window = session.white_balance_window.value_or(default_window(grey.width, grey.height));
        results.white_balance.push_back(
            balance_grey_card(grey, lit.illuminant_k, black_level, results.lens_shading, window, output));
    }

    const auto known_lights = static_cast<std::size_t>(std::ranges::count_if(
        results.white_balance, [](const WhiteBalance& entry) { return entry.illuminant_k.has_value(); }));
    if (known_lights >= kLeastCurveLights && known_lights <= kMostCurveLights) {
        results.curve = fit_curve(results.white_balance, session.file, output);
    }
    calibrate_matrices(session, output, results);
    std::vector<ColourTable> tables;
    for (const MatrixCalibration& matrix : results.matrices) {
        if (options.tables) {
            tables.push_back(calibrate_table(
                {matrix.file, matrix.illuminant_k, matrix.corrected, matrix.reference, matrix.limited}, {}, output));
        }
    }
    if (!session.series.empty()) {
        NoiseSettings settings = session.noise;
        settings.progress = options.progress;
        Capture frame;
        results.noise = calibrate_noise(session.series, session.geometry, black_level, settings, output, frame);
    }

    if (!folder.empty()) {
        make_folder(folder);
    }
    const std::filesystem::path file = folder / "results.json";
    write_results(file, results);
    print_black_level(*results.black_level);
    if (results.lens_shading.empty()) {
        std::printf("Lens shading: the session names no flat field, unity grids are applied\n");
    } else {
        print_lens_shading(results.lens_shading);
    }
    if (results.white_balance.empty()) {
        std::printf("White balance: the session names no grey card\n");
    } else {
        print_white_balance(results.white_balance);
    }
    if (results.curve) {
        print_curve(*results.curve);
    }
    print_matrices(results.matrices);
    std::ranges::for_each(tables, print_table);
    if (results.noise) {
        print_noise(*results.noise);
    }
    std::printf("written: %s\n", file.string().c_str());
    for (const ColourTable& table : tables) {
        const std::filesystem::path cube = folder / (table.input.file.stem().string() + ".cube");
        write_cube(cube, table);
        std::printf("written: %s\n", cube.string().c_str());
    }
    if (options.pictures && results.noise) {
        write_noise_plot(folder / "noise.svg", *results.noise);
        std::printf("written: %s\n", (folder / "noise.svg").string().c_str());
    }
    if (options.pictures) {
        for (const MatrixCalibration& matrix : results.matrices) {
            const std::filesystem::path picture = folder / (matrix.file.stem().string() + "_patches.png");
            write_patch_picture(picture, matrix.measured, matrix.corrected, matrix.reference);
            std::printf("written: %s\n", picture.string().c_str());
        }
    }
    for (std::size_t i = 0; i < flats.size(); ++i) {
        write_shading_files(folder, results.lens_shading[i], flats[i].corrected, flats[i].geometry, options.files);
    }
}

}  // namespace

void add_calibrate_command(CLI::App& app) {
    auto options = std::make_shared<CalibrateOptions>();
    CLI::App* command = app.add_subcommand("calibrate", "The whole chain on the captures of a session file");
    command->add_option("SESSION", options->session, "session file (docs/session.md)")->required();
    command->add_option("--out", options->folder, "folder for results.json; default: the session file's")
        ->type_name("DIR");
    options->files.add_to(*command);
    command->add_flag("--pictures", options->pictures,
                      "also a PNG of each chart's patches and an SVG of the noise beside the results");
    command->add_flag("--tables", options->tables, "also a colour look-up table per chart, as a .cube file");
    command->add_flag("--progress", options->progress, "show the progress of the noise series also without a terminal");
    options->output.add_to(*command);
    command->footer(
        "Examples:\n"
        "  cali calibrate shots/session.toml\n"
        "  cali calibrate shots/session.toml --out tuning --log tuning/library.log");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
